// Pixels of X servers in other formats than the usual one.
#include <gmock/gmock.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <thread>

#include "platform/linux/screen/OutputDuplication.h"
#include "platform/linux/x11/XPixelFormat.h"
#include "tests/integration/screen/ScreenKit.h"
#include "tests/support/XServer.h"

namespace Vimbrel::test {

namespace {

using testing::Contains;
using testing::IsEmpty;

// Fills the root with a pixel of the server's own format. While `grabbed` runs, nobody else is
// served.
void FillRoot(std::uint32_t pixel, const std::function<void()>& grabbed = {}) {
    xcb_connection_t* const c = xcb_connect(nullptr, nullptr);
    if (grabbed) {
        xcb_grab_server(c);
        std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
        grabbed();
    }
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    const xcb_gcontext_t context = xcb_generate_id(c);
    const xcb_rectangle_t all{0, 0, 64, 32};
    xcb_create_gc(c, context, root, XCB_GC_FOREGROUND, &pixel);
    xcb_poly_fill_rectangle(c, root, context, 1, &all);
    std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    xcb_disconnect(c);
}

TEST(XPixelTest, OddPixels) {
    struct Row {
        const char* geometry;
        std::uint32_t pixel;
        std::uint32_t color;
    };
    const Row rows[] = {{"64x32x16", 0xFBE0, 0xFF7D00},
                        {"64x32x15", 0x7DE0, 0xFF7B00},
                        {"64x32x30", 0x3FF80000, 0xFF8000}};
    for (const Row& row : rows) {
        XServer server(Xvfb(row.geometry));
        Screen screen({0, 0, 64, 32});
        EXPECT_EQ(screen.method, 2) << row.geometry;
        FillRoot(row.pixel);
        EXPECT_THAT(screen.Request(), IsEmpty());
        EXPECT_EQ(screen.At(5, 5), row.color) << row.geometry << std::hex << " " << screen.At(5, 5);
        EXPECT_EQ(screen.dispatcher.video.back().pixels[3], 0xFF);
    }
    XServer server(Xvfb("64x32x8"));
    Screen screen({0, 0, 64, 32});
    EXPECT_EQ(screen.method, 0);
    EXPECT_THAT(
        screen.opening,
        Contains(
            "X11 - output screen cannot be duplicated: its pixels are of a kind that is not read"));
    EXPECT_THAT(screen.Request(), IsEmpty());
    EXPECT_EQ(screen.At(5, 5), 0u);
}

TEST(XPixelTest, AChangeThatComesWithTheReplyIsAFrame) {
    XServer server(Xvfb("64x32x24"));
    const auto connection = XConnection::Shared();
    ASSERT_TRUE(connection);
    ComPtr<IDXGIOutputDuplication> duplication;
    ASSERT_EQ(OutputDuplication::Create(ListOutputs(*connection).at(0), duplication.Put()), S_OK);
    DXGI_OUTDUPL_FRAME_INFO info{};
    ComPtr<IDXGIResource> resource;
    while (duplication->AcquireNextFrame(0, &info, resource.Put()) == S_OK)
        duplication->ReleaseFrame();
    // The frame is requested while the server serves only the painter, so the server reports the
    // paint before it replies. The pause lets the request reach the server: the duplication's
    // connection is its own, so nothing here shows when that has happened.
    HRESULT result = E_FAIL;
    std::jthread asking;
    FillRoot(0x112233, [&] {
        asking =
            std::jthread([&] { result = duplication->AcquireNextFrame(0, &info, resource.Put()); });
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
    });
    asking.join();
    EXPECT_EQ(result, S_OK);
    EXPECT_NE(info.LastPresentTime.QuadPart, 0);
}

TEST(XPixelTest, Formats) {
    struct Row {
        XPixelFormat format;
        std::vector<std::uint8_t> bytes;
        std::uint32_t bgra;
    };
    const Row rows[] = {
        {{16, 32, false, true, false, 0xF800, 0x7E0, 0x1F}, {0x34, 0x12}, 0x1045A5},
        {{16, 32, true, true, false, 0xF800, 0x7E0, 0x1F}, {0x12, 0x34}, 0x1045A5},
        {{16, 32, false, true, false, 0x7C00, 0x3E0, 0x1F}, {0xFF, 0x03}, 0x00FFFF},
        {{24, 32, false, true, false, 0xFF0000, 0xFF00, 0xFF}, {0x33, 0x22, 0x11}, 0x112233},
        {{32, 32, true, true, false, 0xFF0000, 0xFF00, 0xFF}, {0x99, 0x11, 0x22, 0x33}, 0x112233},
        {{32, 32, false, true, false, 0xFF, 0xFF00, 0xFF0000}, {0x11, 0x22, 0x33, 0x99}, 0x112233},
        {{32, 32, false, true, false, 0x3FF00000, 0xFFC00, 0x3FF},
         {0xFF, 0x03, 0x08, 0xC0},
         0x0080FF},
        {{32, 32, true, true, true, 0xFF0000, 0xFF00, 0xFF}, {0x99, 0x11, 0x22, 0x33}, 0x99112233},
    };
    for (const Row& row : rows) {
        EXPECT_TRUE(row.format.Usable());
        EXPECT_FALSE(row.format.IsBgra());
        std::uint32_t pixel = 0;
        row.format.Convert(row.bytes.data(), 4, reinterpret_cast<std::uint8_t*>(&pixel), 4, 1, 1);
        EXPECT_EQ(pixel, row.bgra) << std::hex << pixel;
    }
    EXPECT_EQ(rows[0].format.RowBytes(3), 8u);
    EXPECT_EQ(rows[3].format.RowBytes(3), 12u);
}

}  // namespace

}  // namespace Vimbrel::test

// What is peculiar to X servers: changes, pointers, outputs, missing extensions, odd pixels, a
// server that goes away.
#include <gmock/gmock.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <thread>

#include "ScreenCapture/Cursor.h"
#include "ScreenCapture/DXGICapture.h"
#include "ScreenCapture/GdiCapture.h"
#include "ScreenCapture/WindowCapture.h"
#include "platform/linux/screen/OutputDuplication.h"
#include "platform/linux/x11/XPixelFormat.h"
#include "tests/fakes/CapturingLog.h"
#include "tests/fakes/RecordingDispatcher.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/CapturedPicture.h"
#include "tests/support/Imaging.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestCursor.h"
#include "tests/support/TestWindow.h"
#include "tests/support/XServer.h"
#include "vimbrel/MediaSourceScreen.h"

namespace Vimbrel::test {

namespace {

using testing::Contains;
using testing::IsEmpty;

constexpr char timed_out[] = "DXGIOutputDuplication->AcquireNextFrame failed with hr=0x887a0027";
constexpr char lost[] = "DXGIOutputDuplication->AcquireNextFrame failed with hr=0x887a0026";

// A source with its dispatcher, open on a rectangle of the desktop.
struct Screen {
    explicit Screen(const RECT& rect, bool cursor = false, HWND window = nullptr) {
        source.SetDispatcher(&dispatcher);
        MediaSourceScreen::Settings settings;
        settings.window = window;
        settings.rect = rect;
        settings.drawCursor = cursor;
        TakeLog();
        EXPECT_TRUE(source.Open(&settings));
        for (const LogLine& line : TakeLog()) {
            constexpr std::string_view start = "Screen Capture - Method: ";
            if (line.text.rfind(start, 0) == 0) method = line.text[start.size()] - '0';
            opening.push_back(line.text);
        }
    }

    std::uint32_t At(int x, int y) const {
        const auto& sample = dispatcher.video.back();
        return ColorAt(sample.pixels, sample.stride, x, y);
    }
    // The errors of one request.
    std::vector<std::string> Request() {
        TakeLog();
        source.RequestSample();
        return TakeErrors();
    }

    RecordingDispatcher dispatcher;
    MediaSourceScreen source;
    int method = -1;
    std::vector<std::string> opening;
};

TEST(XScreenTest, FramesComeWithChanges) {
    XServer server(Xvfb("200x100x24"));
    TestWindow window{10, 10, 60, 40, 1};
    MovePointer(150, 90);
    Screen screen({0, 0, 200, 100}, true);
    EXPECT_EQ(screen.method, 2);
    EXPECT_THAT(screen.Request(), IsEmpty());
    EXPECT_EQ(screen.At(10, 10), window.Expected(0, 0));
    EXPECT_THAT(screen.Request(), Contains(timed_out));
    EXPECT_EQ(screen.At(69, 49), window.Expected(59, 39));
    // Narrow and wide changes are read in two ways.
    TestWindow narrow{80, 3, 7, 5, 2};
    EXPECT_THAT(screen.Request(), IsEmpty());
    TestWindow wide{5, 60, 190, 9, 3};
    EXPECT_THAT(screen.Request(), IsEmpty());
    EXPECT_THAT(screen.Request(), Contains(timed_out));
    for (int x = 0; x < 7; ++x) EXPECT_EQ(screen.At(80 + x, 4), narrow.Expected(x, 1));
    for (int x = 0; x < 190; ++x) EXPECT_EQ(screen.At(5 + x, 61), wide.Expected(x, 1));
    EXPECT_EQ(screen.At(30, 30), window.Expected(20, 20));
    // The byte of alpha is opaque, though the windows left something else in it.
    EXPECT_EQ(screen.dispatcher.video.back().pixels[(61 * 200 + 100) * 4 + 3], 0xFF);
    MovePointer(120, 80);
    EXPECT_THAT(screen.Request(), IsEmpty());
    narrow.Close();
    EXPECT_THAT(screen.Request(), IsEmpty());
    EXPECT_EQ(screen.At(80, 4), 0u);
}

TEST(XScreenTest, PointersBlendTheSameEverywhere) {
    XServer server(Xvfb("200x100x24"));
    TestWindow window{0, 0, 200, 100, 1};
    SetPointerShape(3, 2, 1, 1,
                    {0xFF112233, 0x80400000, 0x00000000, 0x01010101, 0xFFFFFFFF, 0x7F007F00});
    const auto expected = [&](int x, int y) {
        constexpr std::uint32_t shape[] = {0xFF112233, 0x80400000, 0x00000000,
                                           0x01010101, 0xFFFFFFFF, 0x7F007F00};
        std::uint32_t result = 0;
        const std::uint32_t over = shape[y * 3 + x];
        const std::uint32_t below = window.Expected(49 + x, 39 + y);
        for (int shift = 0; shift < 24; shift += 8) {
            const double value =
                (over >> shift & 0xFF) + (below >> shift & 0xFF) * (255 - (over >> 24)) / 255.0;
            result |= static_cast<std::uint32_t>(std::lround(value)) << shift;
        }
        return result;
    };
    MovePointer(50, 40);
    Screen duplicated({0, 0, 200, 100}, true);
    Screen windowed({}, true, window.Handle());
    EXPECT_EQ(windowed.method, 3);
    for (Screen* screen : {&duplicated, &windowed}) {
        screen->source.RequestSample();
        for (int y = 0; y < 2; ++y) {
            for (int x = 0; x < 3; ++x) {
                for (int shift = 0; shift < 24; shift += 8) {
                    EXPECT_NEAR(screen->At(49 + x, 39 + y) >> shift & 0xFF,
                                expected(x, y) >> shift & 0xFF, 1)
                        << x << "," << y;
                }
            }
        }
        EXPECT_EQ(screen->At(50, 38), window.Expected(50, 38));
        EXPECT_EQ(screen->At(52, 40), window.Expected(52, 40));
    }
    // At the screen's corner, half of it outside.
    MovePointer(0, 0);
    EXPECT_THAT(duplicated.Request(), IsEmpty());
    EXPECT_EQ(duplicated.At(0, 0), 0xFFFFFFu);
    EXPECT_EQ(duplicated.At(50, 40), window.Expected(50, 40));
}

TEST(XScreenTest, AShapeIsToldOnceAndWhenItChanges) {
    XServer server(Xvfb("200x100x24"));
    SetPointerShape(1, 1, 0, 0, {0xFF0000FF});
    MovePointer(20, 10);
    const auto connection = XConnection::Shared();
    ASSERT_TRUE(connection);
    ComPtr<IDXGIOutputDuplication> duplication;
    ASSERT_EQ(OutputDuplication::Create(ListOutputs(*connection).at(0), duplication.Put()), S_OK);
    DXGI_OUTDUPL_FRAME_INFO info{};
    DXGI_OUTDUPL_POINTER_SHAPE_INFO shape{};
    UINT required = 0;
    ComPtr<IDXGIResource> resource;
    const auto next = [&] {
        EXPECT_EQ(duplication->AcquireNextFrame(2000, &info, resource.Put()), S_OK);
        resource.Reset();
    };
    next();
    EXPECT_TRUE(info.PointerPosition.Visible);
    EXPECT_EQ(info.PointerPosition.Position.x, 20);
    EXPECT_EQ(info.PointerShapeBufferSize, 4u);
    BYTE pixel[4] = {};
    EXPECT_EQ(duplication->GetFramePointerShape(3, pixel, &required, &shape), DXGI_ERROR_MORE_DATA);
    EXPECT_EQ(required, 4u);
    EXPECT_EQ(duplication->GetFramePointerShape(4, pixel, &required, &shape), S_OK);
    EXPECT_THAT(pixel, testing::ElementsAre(0xFF, 0, 0, 0xFF));
    EXPECT_EQ(duplication->AcquireNextFrame(1, &info, resource.Put()), DXGI_ERROR_INVALID_CALL);
    EXPECT_EQ(duplication->ReleaseFrame(), S_OK);
    EXPECT_EQ(duplication->ReleaseFrame(), DXGI_ERROR_INVALID_CALL);
    EXPECT_EQ(duplication->GetFramePointerShape(4, pixel, &required, &shape),
              DXGI_ERROR_INVALID_CALL);

    MovePointer(30, 11);
    next();
    EXPECT_EQ(info.LastPresentTime.QuadPart, 0);
    EXPECT_EQ(info.PointerPosition.Position.x, 30);
    EXPECT_EQ(info.PointerShapeBufferSize, 0u);
    EXPECT_EQ(duplication->GetFramePointerShape(0, nullptr, &required, &shape), S_OK);
    EXPECT_EQ(shape.Type, 0u);
    duplication->ReleaseFrame();

    SetPointerShape(2, 3, 1, 2, std::vector<std::uint32_t>(6, 0xFF00FF00));
    next();
    EXPECT_EQ(info.PointerShapeBufferSize, 24u);
    EXPECT_EQ(info.PointerPosition.Position.x, 29);
    EXPECT_EQ(info.PointerPosition.Position.y, 9);
    duplication->ReleaseFrame();
    // Programs hide the pointer by a shape that cannot be seen.
    SetPointerShape(1, 1, 0, 0, {0});
    next();
    EXPECT_FALSE(info.PointerPosition.Visible);
    EXPECT_EQ(info.PointerShapeBufferSize, 0u);
    duplication->ReleaseFrame();
    EXPECT_EQ(duplication->AcquireNextFrame(30, &info, resource.Put()), DXGI_ERROR_WAIT_TIMEOUT);
}

TEST(XScreenTest, ACopyKeepsItsPixels) {
    XServer server(Xvfb("50x40x24"));
    const auto connection = XConnection::Shared();
    ASSERT_TRUE(connection);
    ComPtr<IDXGIFactory1> factory;
    ComPtr<IDXGIAdapter1> adapter;
    ComPtr<ID3D11Device> device;
    ComPtr<ID3D11DeviceContext> context;
    ASSERT_EQ(CreateDXGIFactory1(IID_PPV_ARGS(factory.Put())), S_OK);
    ASSERT_EQ(factory->EnumAdapters1(0, adapter.Put()), S_OK);
    ASSERT_EQ(D3D11CreateDevice(adapter.Get(), D3D_DRIVER_TYPE_UNKNOWN, nullptr, 0, nullptr, 0,
                                D3D11_SDK_VERSION, device.Put(), nullptr, context.Put()),
              S_OK);
    ComPtr<IDXGIOutputDuplication> duplication;
    ASSERT_EQ(OutputDuplication::Create(ListOutputs(*connection).at(0), duplication.Put()), S_OK);
    DXGI_OUTDUPL_FRAME_INFO info{};
    ComPtr<IDXGIResource> resource;
    ASSERT_EQ(duplication->AcquireNextFrame(1000, &info, resource.Put()), S_OK);
    D3D11_TEXTURE2D_DESC description = TextureDescription(50, 40, D3D11_USAGE_STAGING);
    ComPtr<ID3D11Texture2D> copy;
    ASSERT_EQ(device->CreateTexture2D(&description, nullptr, copy.Put()), S_OK);
    context->CopyResource(copy.Get(), resource.As<ID3D11Texture2D>().Get());
    resource.Reset();
    duplication->ReleaseFrame();
    const TestWindow window{0, 0, 50, 40, 1};
    ASSERT_EQ(duplication->AcquireNextFrame(1000, &info, resource.Put()), S_OK);
    DXGI_MAPPED_RECT mapped{};
    ASSERT_EQ(copy.As<IDXGISurface1>()->Map(&mapped, DXGI_MAP_READ), S_OK);
    EXPECT_EQ(ColorAt(mapped.pBits, mapped.Pitch, 5, 5), 0u);
    ComPtr<ID3D11Texture2D> other;
    description.Format = DXGI_FORMAT_UNKNOWN;
    EXPECT_EQ(device->CreateTexture2D(&description, nullptr, other.Put()), E_INVALIDARG);
}

TEST(XScreenTest, AServerThatGoesAway) {
    XServer server(Xvfb("200x100x24"));
    TestWindow window{10, 10, 60, 40, 1};
    Screen desktop({0, 0, 200, 100});
    Screen one({}, false, window.Handle());
    GdiCapture gdi(PlatformCaptureSystem().gdi);
    gdi.Start({0, 0, 50, 50});
    desktop.source.RequestSample();
    one.source.RequestSample();
    const auto window_pixel = window.Expected(3, 3);
    server.Kill();
    EXPECT_THAT(desktop.Request(), Contains(lost));
    EXPECT_THAT(desktop.Request(), Contains(lost));
    EXPECT_EQ(desktop.At(13, 13), window_pixel);
    gdi.Capture();
    one.source.RequestSample();
    EXPECT_EQ(one.source.GetState(), MediaSource::State::Stopped);
    EXPECT_EQ(one.At(3, 3), window_pixel);
    desktop.source.Close();

    const Screen again({0, 0, 20, 10});
    EXPECT_EQ(again.method, 0);
}

TEST(XScreenTest, NoServerAtAll) {
    setenv("DISPLAY", ":987", 1);
    Screen screen({0, 0, 20, 10}, true);
    EXPECT_EQ(screen.method, 0);
    EXPECT_THAT(screen.opening, Contains("DXGICapture GetOutputRect failed!"));
    EXPECT_THAT(screen.Request(), IsEmpty());
    EXPECT_EQ(screen.At(19, 9), 0u);
    Screen window({0, 0, 4, 4}, true, reinterpret_cast<HWND>(std::uintptr_t{5}));
    window.source.RequestSample();
    EXPECT_EQ(window.source.GetState(), MediaSource::State::Stopped);
    unsetenv("DISPLAY");
    EXPECT_FALSE(EnumDisplayMonitors(
        nullptr, nullptr, [](HMONITOR, HDC, RECT*, LPARAM) { return TRUE; }, 0));
}

TEST(XScreenTest, MissingExtensions) {
    struct Row {
        const char* extension;
        int method;
        const char* reason;
    };
    const Row rows[] = {
        {"MIT-SHM", 2, nullptr},
        {"RANDR", 2, nullptr},
        {"Composite", 2, nullptr},
        {"DAMAGE", 1,
         "X11 - output screen cannot be duplicated: the server lacks the DAMAGE extension"},
        {"XFIXES", 1,
         "X11 - output screen cannot be duplicated: the server lacks the XFIXES extension"}};
    for (const Row& row : rows) {
        XServer server(Xvfb("200x100x24", {"-extension", row.extension}));
        TestWindow window{10, 10, 60, 40, 1};
        Screen screen({0, 0, 200, 100}, true);
        EXPECT_EQ(screen.method, row.method)
            << row.extension << ": " << testing::PrintToString(screen.opening);
        if (row.reason) {
            EXPECT_THAT(screen.opening, Contains(row.reason));
            EXPECT_THAT(screen.opening, Contains("Failed to duplicate output hr=0x887a0004"));
        }
        EXPECT_THAT(screen.Request(), IsEmpty()) << row.extension;
        EXPECT_EQ(screen.At(13, 14), window.Expected(3, 4)) << row.extension;
        GdiCapture gdi(PlatformCaptureSystem().gdi);
        gdi.Start({10, 10, 60, 40});
        gdi.Capture();
        EXPECT_EQ(ColorAt(gdi.GetBits(), 200, 3, 4), window.Expected(3, 4)) << row.extension;
        Screen of_window({}, false, window.Handle());
        of_window.source.RequestSample();
        EXPECT_EQ(of_window.At(3, 4), window.Expected(3, 4)) << row.extension;
    }
}

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

TEST(XScreenTest, OddPixels) {
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

TEST(XScreenTest, AChangeThatComesWithTheReplyIsAFrame) {
    XServer server(Xvfb("64x32x24"));
    const auto connection = XConnection::Shared();
    ASSERT_TRUE(connection);
    ComPtr<IDXGIOutputDuplication> duplication;
    ASSERT_EQ(OutputDuplication::Create(ListOutputs(*connection).at(0), duplication.Put()), S_OK);
    DXGI_OUTDUPL_FRAME_INFO info{};
    ComPtr<IDXGIResource> resource;
    while (duplication->AcquireNextFrame(0, &info, resource.Put()) == S_OK)
        duplication->ReleaseFrame();
    // The frame is asked for while the server serves the painter only, so it tells of the paint
    // before it answers.
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

TEST(XScreenTest, Formats) {
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

TEST(XScreenTest, ARequestAllocatesNothing) {
    XServer server(Xvfb("200x100x24"));
    TestWindow window{10, 10, 60, 40, 1};
    Screen duplicated({0, 0, 200, 100}, true);
    Screen of_window({}, true, window.Handle());
    GdiCapture gdi(PlatformCaptureSystem().gdi);
    gdi.Start({0, 0, 100, 100});
    SwitchLog(6);  // lines of the log allocate
    const auto round = [&](int i) {
        MovePointer(20 + i, 20);
        duplicated.source.RequestSample();
        of_window.source.RequestSample();
        gdi.Capture();
    };
    duplicated.dispatcher.video.reserve(100);
    of_window.dispatcher.video.reserve(100);
    for (int i = 0; i < 3; ++i) round(i);
    const std::uint64_t before = AllocationCount();
    for (int i = 3; i < 13; ++i) round(i);
    EXPECT_EQ(AllocationCount(), before);
    SwitchLog(0);
    EXPECT_EQ(duplicated.At(15, 15), window.Expected(5, 5));
}

TEST(XScreenTest, AWindowUnderOthers) {
    XServer server(Xvfb("200x100x24"));
    TestWindow window{10, 10, 60, 40, 1, "under"};
    TestWindow cover{40, 10, 60, 40, 2};
    // Both ways of reading a window give what is covered. The server has to paint it first, which
    // it does with the next request.
    Screen screen({}, false, window.Handle());
    screen.source.RequestSample();
    screen.source.RequestSample();
    Gdi& gdi = PlatformCaptureSystem().gdi;
    HDC context = gdi.CreateCompatibleDC(nullptr);
    const BITMAPINFO info = TopDownBitmap(60, 40);
    void* printed = nullptr;
    HBITMAP bitmap = gdi.CreateDIBSection(context, &info, &printed);
    gdi.SelectObject(context, bitmap);
    EXPECT_TRUE(gdi.PrintWindow(window.Handle(), context, PW_CLIENTONLY));
    for (int x = 0; x < 60; ++x) {
        EXPECT_EQ(screen.At(x, 5), window.Expected(x, 5));
        EXPECT_EQ(ColorAt(static_cast<const BYTE*>(printed), 240, x, 5), window.Expected(x, 5));
    }
    gdi.DeleteDC(context);
    gdi.DeleteObject(bitmap);

    // What the list of windows says of it.
    std::vector<HWND> windows;
    EXPECT_TRUE(EnumWindows(
        [](HWND found, LPARAM list) {
            reinterpret_cast<std::vector<HWND>*>(list)->push_back(found);
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&windows)));
    EXPECT_THAT(windows, testing::ElementsAre(cover.Handle(), window.Handle()));
    wchar_t text[6];
    EXPECT_EQ(GetWindowTextW(window.Handle(), text, 6), 5);
    EXPECT_STREQ(text, L"under");
    EXPECT_EQ(GetClassNameW(window.Handle(), text, 6), 5);
    EXPECT_STREQ(text, L"TestC");
}

TEST(XScreenTest, AWindowUnderOthersWithoutComposite) {
    XServer server(Xvfb("200x100x24", {"-extension", "Composite"}));
    TestWindow window{10, 10, 60, 40, 1};
    TestWindow cover{40, 10, 60, 40, 2};
    Screen screen({}, false, window.Handle());
    screen.source.RequestSample();
    EXPECT_EQ(screen.At(29, 5), window.Expected(29, 5));
    EXPECT_EQ(screen.At(30, 5), 0u);
}

TEST(XScreenTest, TheScaleIsTheDesktops) {
    XServer server(Xvfb("200x100x24"));
    TestWindow window{10, 10, 60, 40, 1};
    const CaptureSystem& system = PlatformCaptureSystem();
    OsVersion version;
    EXPECT_TRUE(GetOsVersion(system.windows, version.versionMajor, version.versionMinor,
                             version.versionBuild, version.versionRevision));
    EXPECT_EQ(version.versionMajor, 10);
    TempFolder folder;
    folder.Run(
        "printf 'Xft.antialias: 1\\nXft.dpi:\\t144\\n' | xrdb -merge 2>&1 || xprop -root -f "
        "RESOURCE_MANAGER 8s -set "
        "RESOURCE_MANAGER 'Xft.dpi: 144'");
    EXPECT_EQ(DpiPercent(system.windows, system.gdi, version, window.Handle()), 150);
    // Nothing is scaled, since the server draws windows as large as they are.
    Screen screen({}, false, window.Handle());
    screen.source.RequestSample();
    EXPECT_EQ(screen.At(59, 39), window.Expected(59, 39));
}

TEST(XScreenTest, ATurnedScreen) {
    XServer outer(Xvfb("640x480x24"));
    XServer server({"Xephyr", "-screen", "301x203", "-noreset"});
    const TempFolder folder;
    for (const auto& [angle, rotation] : {std::pair{"left", 2}, std::pair{"inverted", 3},
                                          std::pair{"right", 4}, std::pair{"normal", 1}}) {
        const auto connection = XConnection::Shared();
        ASSERT_TRUE(connection);
        const XOutput before = ListOutputs(*connection).at(0);
        folder.Run(std::string("xrandr -o ") + angle);
        ComPtr<IDXGIOutputDuplication> duplication;
        EXPECT_EQ(OutputDuplication::Create(before, duplication.Put()), DXGI_ERROR_UNSUPPORTED);
        EXPECT_EQ(ListOutputs(*connection).at(0).rotation, rotation);
        const bool upright = rotation == 1 || rotation == 3;
        const int width = upright ? 301 : 203;
        const int height = upright ? 203 : 301;
        TestWindow window{0, 0, width, height, 1};
        Screen screen({0, 0, width, height});
        EXPECT_EQ(screen.method, 2);
        EXPECT_THAT(screen.Request(), IsEmpty());
        TestWindow part{11, 13, 17, 19, 2};
        EXPECT_THAT(screen.Request(), IsEmpty());
        int different = 0;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const bool in_part = x >= 11 && x < 28 && y >= 13 && y < 32;
                different += screen.At(x, y) !=
                             (in_part ? part.Expected(x - 11, y - 13) : window.Expected(x, y));
            }
        }
        EXPECT_EQ(different, 0) << angle;
    }
}

TEST(XScreenTest, SeveralOutputs) {
    const TempFolder folder;
    const auto configuration = folder.Write("xorg.conf", std::string(R"(
Section "ServerFlags"
  Option "AutoAddDevices" "false"
EndSection
Section "Device"
  Identifier "device"
  Driver "dummy"
  VideoRam 64000
EndSection
Section "Monitor"
  Identifier "monitor"
  HorizSync 5-1000
  VertRefresh 5-200
EndSection
Section "Screen"
  Identifier "screen"
  Device "device"
  Monitor "monitor"
  DefaultDepth 24
  SubSection "Display"
    Modes "640x480"
    Virtual 1600 1200
  EndSubSection
EndSection
)"));
    XServer server({"Xorg", "-config", configuration.string(), "-noreset", "-nolisten", "tcp",
                    "-logfile", (folder / "log").string()});
    folder.Run(
        "xrandr --newmode small 10 320 330 340 350 240 250 260 270 && xrandr --addmode DUMMY1 "
        "small && "
        "xrandr --output DUMMY1 --mode small --right-of DUMMY0 --primary");
    TestWindow window{600, 20, 100, 50, 1};
    Screen screen({0, 0, 960, 480});
    EXPECT_EQ(screen.method, 0);
    EXPECT_THAT(screen.Request(), IsEmpty());
    EXPECT_EQ(screen.At(639, 30), window.Expected(39, 10));
    EXPECT_EQ(screen.At(640, 30), window.Expected(40, 10));

    const Imaging imaging;
    DXGICapture primary(PlatformCaptureSystem());
    primary.captureSource = 1;
    RECT span{};
    EXPECT_EQ(primary.GetOutputRect(&span), S_OK);
    EXPECT_EQ(span.left, 640);
    EXPECT_EQ(span.right, 960);
    DXGICapture all(PlatformCaptureSystem());
    all.captureSource = 3;
    EXPECT_EQ(all.GetOutputRect(&span), S_OK);
    std::vector<BYTE> pixels(960 * 480 * 4);
    EXPECT_EQ(all.GetOutputBits(pixels.data(), &span), S_OK);
    for (int x = 0; x < 100; ++x)
        EXPECT_EQ(ColorAt(pixels.data(), 960 * 4, 600 + x, 30), window.Expected(x, 10));
    // An output that changes is lost for good.
    folder.Run("xrandr --output DUMMY1 --off");
    for (const int x : {100, 200}) {
        // Something new on the other output, which is read first.
        const TestWindow change{x, 0, 20, 20, 2};
        EXPECT_EQ(all.GetOutputBits(pixels.data(), &span), DXGI_ERROR_ACCESS_LOST);
        EXPECT_EQ(ColorAt(pixels.data(), 960 * 4, x, 0), change.Expected(0, 0));
    }
}

}  // namespace

}  // namespace Vimbrel::test

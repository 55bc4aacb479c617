// What is peculiar to X servers: changes, pointers, missing extensions, windows, a server that goes
// away.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <thread>

#include "ScreenCapture/Cursor.h"
#include "ScreenCapture/DXGICapture.h"
#include "ScreenCapture/GdiCapture.h"
#include "ScreenCapture/WindowCapture.h"
#include "platform/linux/screen/OutputDuplication.h"
#include "tests/fakes/CapturingLog.h"
#include "tests/integration/screen/ScreenKit.h"
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

TEST(XScreenTest, AnOpenWithoutMemoryIsRefused) {
#ifdef VIMBREL_SANITIZED
    GTEST_SKIP() << "sanitizers end the program instead";
#endif
    XServer server(Xvfb("200x100x24"));
    Screen screen({0, 0, 200, 100});
    rlimit before{};
    getrlimit(RLIMIT_AS, &before);
    const rlimit limit = {1 << 29, before.rlim_max};
    setrlimit(RLIMIT_AS, &limit);
    MediaSourceScreen::Settings settings;
    settings.rect = {0, 0, 1 << 14, 1 << 14};  // 1 GiB
    const bool opened = screen.source.Open(&settings);
    setrlimit(RLIMIT_AS, &before);
    EXPECT_FALSE(opened);
    EXPECT_EQ(screen.source.GetMediaInfo().width, 200);
    screen.source.RequestSample();
    ASSERT_EQ(screen.dispatcher.video.size(), 1u) << "the frame of the open before";
    EXPECT_NE(screen.dispatcher.video[0].pixels, nullptr);
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

}  // namespace

}  // namespace Vimbrel::test

// The screen on Wayland, by a portal that shows what the test paints.
#include <dxgi1_2.h>
#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "ScreenCapture/GdiCapture.h"
#include "ScreenCapture/system/CaptureSystem.h"
#include "com/ComPtr.h"
#include "platform/linux/screen/CastDuplication.h"
#include "tests/fakes/CapturingLog.h"
#include "tests/integration/screen/ScreenKit.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/PortalDesktop.h"
#include "tests/support/ProcessCounts.h"
#include "tests/support/Rounds.h"
#include "tests/support/WaitUntil.h"
#include "vimbrel/ScreenAccess.h"

namespace Vimbrel::test {

namespace {

using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using Result = ScreenAccess::Result;

constexpr char timed_out[] = "DXGIOutputDuplication->AcquireNextFrame failed with hr=0x887a0027";
constexpr char lost[] = "DXGIOutputDuplication->AcquireNextFrame failed with hr=0x887a0026";
constexpr RECT whole{0, 0, 64, 48};

// Pixels with red first are converted, and of those only what has changed.
TEST(WaylandScreenTest, FramesComeWithChanges) {
    PortalDesktop desktop({"rgb", "paint 0 0 64 48 112233", "sequence 1"});
    ScreenAccess access;
    ASSERT_EQ(access.Ask({}), Result::Granted);
    EXPECT_EQ(access.Width(), 64);
    EXPECT_EQ(access.Height(), 48);
    Screen screen(whole);
    EXPECT_EQ(screen.method, 2);
    EXPECT_THAT(screen.Request(), IsEmpty());
    EXPECT_EQ(screen.At(63, 47), 0x112233u);
    EXPECT_EQ(screen.dispatcher.video.back().pixels[3], 0xFF);
    EXPECT_THAT(screen.Request(), Contains(timed_out));
    // What is outside of the damage is not read.
    desktop.Tell("paint 0 0 2 2 ABCDEF");
    desktop.Show(10, 20, 3, 2, 0xFF8001);
    EXPECT_TRUE(SeesAt(screen, 12, 21, 0xFF8001));
    EXPECT_EQ(screen.At(13, 21), 0x112233u);
    EXPECT_EQ(screen.At(0, 0), 0x112233u);
    // Frames that nobody asked for leave their damage to the one that somebody does.
    GdiCapture gdi(PlatformCaptureSystem().gdi);
    gdi.Start(whole);
    for (int i = 0; i < 10; ++i) {
        desktop.Show(i, 40, 1, 1, 0x000002);
        EXPECT_TRUE(WaitUntil([&] {
            gdi.Capture();
            return ColorAt(static_cast<const unsigned char*>(gdi.GetBits()), 64 * 4, i, 40) == 2;
        }));
    }
    EXPECT_THAT(screen.Request(), IsEmpty());
    for (int i = 0; i < 10; ++i) EXPECT_EQ(screen.At(i, 40), 2u) << i;
    EXPECT_EQ(screen.At(0, 0), 0x112233u);
    EXPECT_THAT(screen.Request(), Contains(timed_out));
    // A frame that is missing in the count may have changed anything.
    desktop.Tell("sequence 40");
    desktop.Show(5, 5, 1, 1, 3);
    EXPECT_TRUE(SeesAt(screen, 0, 0, 0xABCDEF));
    // The other way shows the same.
    gdi.Start({8, 18, 28, 38});
    gdi.Capture();
    const auto* const bits = static_cast<const unsigned char*>(gdi.GetBits());
    ASSERT_NE(bits, nullptr);
    EXPECT_EQ(ColorAt(bits, 20 * 4, 4, 3), 0xFF8001u);
    EXPECT_EQ(ColorAt(bits, 20 * 4, 5, 3), 0x112233u);
}

// One frame of the duplication, given back at once.
struct Frame {
    explicit Frame(IDXGIOutputDuplication& duplication, UINT timeout_ms = 5000) {
        ComPtr<IDXGIResource> resource;
        result = duplication.AcquireNextFrame(timeout_ms, &info, resource.Put());
        if (FAILED(result)) return;
        shape.resize(info.PointerShapeBufferSize);
        UINT size = 0;
        EXPECT_EQ(duplication.GetFramePointerShape(info.PointerShapeBufferSize, shape.data(), &size,
                                                   &shape_info),
                  S_OK);
        EXPECT_EQ(size, shape.size());
        duplication.ReleaseFrame();
    }
    HRESULT result = E_FAIL;
    DXGI_OUTDUPL_FRAME_INFO info{};
    DXGI_OUTDUPL_POINTER_SHAPE_INFO shape_info{};
    std::vector<std::uint8_t> shape;
};

TEST(WaylandScreenTest, PointersComeByThemselves) {
    PortalDesktop desktop;
    ComPtr<IDXGIOutputDuplication> duplication;
    ASSERT_EQ(CastDuplication::Create(duplication.Put()), S_OK);
    EXPECT_THAT(desktop.Tell("asked"), HasSubstr("cursor_mode=4"));
    EXPECT_EQ(Frame(*duplication.Get()).info.AccumulatedFrames, 1u);
    EXPECT_EQ(Frame(*duplication.Get(), 0).result, DXGI_ERROR_WAIT_TIMEOUT);
    // Half transparent, premultiplied red in the bytes red, green, blue, alpha.
    desktop.Tell("cursor 1 30 20");
    desktop.Tell("shape 5 2 3 80000080");
    ASSERT_EQ(desktop.Tell("cursoronly"), "ok");
    const Frame shown(*duplication.Get());
    EXPECT_EQ(shown.info.AccumulatedFrames, 0u);
    EXPECT_EQ(shown.info.LastPresentTime.QuadPart, 0);
    EXPECT_TRUE(shown.info.PointerPosition.Visible);
    EXPECT_EQ(shown.info.PointerPosition.Position.x, 28);
    EXPECT_EQ(shown.info.PointerPosition.Position.y, 17);
    ASSERT_EQ(shown.shape.size(), 5u * 5 * 4);
    EXPECT_EQ(shown.shape_info.Type, DXGI_OUTDUPL_POINTER_SHAPE_TYPE_COLOR);
    EXPECT_THAT(std::vector(shown.shape.end() - 4, shown.shape.end()),
                testing::ElementsAre(0, 0, 255, 128));
    // Moves do not repeat it, and a hidden pointer's are no frames.
    desktop.Tell("cursor 1 31 20");
    desktop.Tell("cursoronly");
    const Frame moved(*duplication.Get());
    EXPECT_EQ(moved.info.PointerPosition.Position.x, 29);
    EXPECT_THAT(moved.shape, IsEmpty());
    desktop.Tell("cursor 0 31 20");
    desktop.Tell("cursoronly");
    EXPECT_FALSE(Frame(*duplication.Get()).info.PointerPosition.Visible);
    desktop.Tell("cursor 0 5 5");
    desktop.Tell("cursoronly");
    EXPECT_EQ(Frame(*duplication.Get(), 0).result, DXGI_ERROR_WAIT_TIMEOUT);
    desktop.Tell("cursor 1 8 9");
    desktop.Show(0, 0, 1, 1, 1);
    const Frame again(*duplication.Get());
    EXPECT_EQ(again.info.AccumulatedFrames, 1u);
    EXPECT_EQ(again.info.PointerPosition.Position.x, 6);
    EXPECT_THAT(again.shape, IsEmpty());
    duplication.Reset();
}

TEST(WaylandScreenTest, AnotherSizeIsALossWithinTheSameSession) {
    PortalDesktop desktop;
    ScreenAccess access;
    ASSERT_EQ(access.Ask({}), Result::Granted);
    Screen screen(whole);
    EXPECT_THAT(screen.Request(), IsEmpty());
    ASSERT_EQ(desktop.Tell("resize 100 30"), "ok");
    desktop.Show(99, 29, 1, 1, 0x445566);
    EXPECT_TRUE(WaitUntil([&] { return access.Width() == 100; }));
    EXPECT_THAT(screen.Request(), Contains(lost));
    EXPECT_TRUE(screen.source.IsLost());
    EXPECT_FALSE(access.IsLost());
    screen.source.Close();
    Screen again({0, 0, access.Width(), access.Height()});
    EXPECT_TRUE(SeesAt(again, 99, 29, 0x445566));
    desktop.Show(0, 0, 1, 1, 0x010203);
    EXPECT_TRUE(SeesAt(again, 0, 0, 0x010203));
    EXPECT_THAT(desktop.Tell("asked"), EndsWith("starts=1"));
}

TEST(WaylandScreenTest, ARefusalIsNotAnsweredByAnotherWay) {
    PortalDesktop desktop({"answer refuse"});
    ScreenAccess access;
    EXPECT_EQ(access.Ask({}), Result::Refused);
    {
        Screen screen(whole);
        EXPECT_THAT(screen.opening, Contains("Failed to duplicate output hr=0x80070005"));
        EXPECT_EQ(screen.method, 0);
        EXPECT_THAT(screen.Request(), IsEmpty());
        EXPECT_EQ(screen.At(1, 1), 0u);
    }
    EXPECT_THAT(desktop.Tell("asked"), EndsWith("starts=2"));
    desktop.Tell("answer end");
    EXPECT_EQ(access.Ask({}), Result::Failed);
    // Only the user may take their time.
    desktop.Tell("answer never");
    EXPECT_EQ(access.Ask({}), Result::Failed);
    // The user thinks, and the application thinks better of it.
    desktop.Tell("answer wait");
    int asked = 0;
    ScreenAccess::Request request;
    request.stillWanted = [&] { return ++asked < 3; };
    EXPECT_EQ(access.Ask(request), Result::GivenUp);
    EXPECT_EQ(asked, 3);
    // The user has thought.
    request.stillWanted = [&] {
        if (++asked == 5) desktop.Tell("answer refuse");
        return true;
    };
    EXPECT_EQ(access.Ask(request), Result::Refused);
    desktop.Tell("answer grant");
    EXPECT_EQ(access.Ask({}), Result::Granted);
}

TEST(WaylandScreenTest, WhatTheDesktopEndsIsLost) {
    const std::pair<const char*, std::function<void(PortalDesktop&)>> ends[] = {
        {"closed session", [](PortalDesktop& desktop) { desktop.Tell("closed"); }},
        {"stopped producer", [](PortalDesktop& desktop) { desktop.Tell("stop"); }},
        {"killed portal", [](PortalDesktop& desktop) { desktop.KillPortal(); }},
        {"killed PipeWire", [](PortalDesktop& desktop) { desktop.KillPipeWire(); }}};
    for (const auto& [name, end] : ends) {
        SCOPED_TRACE(name);
        PortalDesktop desktop({"paint 0 0 64 48 112233"});
        ScreenAccess access;
        ASSERT_EQ(access.Ask({}), Result::Granted);
        Screen screen(whole);
        EXPECT_THAT(screen.Request(), IsEmpty());
        end(desktop);
        EXPECT_TRUE(WaitUntil([&] { return access.IsLost(); }));
        EXPECT_THAT(screen.Request(), Contains(lost));
        EXPECT_TRUE(screen.source.IsLost());
        EXPECT_EQ(screen.At(0, 0), 0x112233u) << "the last picture stays";
    }
}

TEST(WaylandScreenTest, TokensAreSentAndReplaced) {
    PortalDesktop desktop;
    ScreenAccess access;
    ScreenAccess::Request request;
    request.token = "earlier";
    ASSERT_EQ(access.Ask(request), Result::Granted);
    EXPECT_EQ(desktop.Tell("asked"),
              "types=1 cursor_mode=4 persist_mode=2 restore_token=earlier starts=1");
    EXPECT_EQ(access.Token(), "token1");
    // The desktop that is shown already needs no question.
    ScreenAccess second;
    EXPECT_EQ(second.Ask({}), Result::Granted);
    EXPECT_THAT(desktop.Tell("asked"), EndsWith("starts=1"));
    access.Release();
    EXPECT_EQ(desktop.Tell("session"), "open");
    second.Release();
    EXPECT_TRUE(WaitUntil([&] { return desktop.Tell("session") == "none"; }));
    // The process remembers the last one by itself.
    ASSERT_EQ(access.Ask({}), Result::Granted);
    EXPECT_THAT(desktop.Tell("asked"), HasSubstr("restore_token=token1"));
    access.Release();
    // Older portals know neither tokens nor pointers apart.
    desktop.Tell("version 3");
    desktop.Tell("cursors 3");
    ASSERT_EQ(access.Ask({}), Result::Granted);
    EXPECT_EQ(desktop.Tell("asked"), "types=1 cursor_mode=2 persist_mode= restore_token= starts=3");
    EXPECT_EQ(access.Token(), "");
}

TEST(WaylandScreenTest, AWindowIsChosenAndCaptured) {
    PortalDesktop desktop({"paint 0 0 64 48 112233"});
    ScreenAccess access;
    ScreenAccess::Request request;
    request.kind = ScreenAccess::Kind::Window;
    ASSERT_EQ(access.Ask(request), Result::Granted);
    EXPECT_THAT(desktop.Tell("asked"), HasSubstr("types=2 cursor_mode=2"));
    Screen screen({}, true, access.Window());
    EXPECT_EQ(screen.method, 3);
    EXPECT_THAT(screen.Request(), IsEmpty());
    EXPECT_EQ(screen.At(63, 47), 0x112233u);
    ASSERT_EQ(desktop.Tell("resize 30 20"), "ok");
    desktop.Show(0, 0, 30, 20, 0x778899);
    EXPECT_TRUE(WaitUntil([&] { return access.Width() == 30; }));
    EXPECT_THAT(screen.Request(), IsEmpty());
    EXPECT_EQ(screen.dispatcher.video.back().width, 30);
    EXPECT_EQ(screen.At(29, 19), 0x778899u);
    desktop.Tell("closed");
    EXPECT_TRUE(WaitUntil([&] { return access.IsLost(); }));
    screen.Request();
    EXPECT_EQ(screen.source.GetState(), MediaSource::State::Stopped);
}

TEST(WaylandScreenTest, TheEnvironmentChoosesOnce) {
    unsetenv("WAYLAND_DISPLAY");
    unsetenv("XDG_SESSION_TYPE");
    SetScreenSystem(ScreenSystem::Automatic);
    EXPECT_EQ(CurrentScreenSystem(), ScreenSystem::X11);
    EXPECT_EQ(ScreenAccess().Ask({}), Result::NotNeeded);
    PortalDesktop desktop;
    EXPECT_EQ(CurrentScreenSystem(), ScreenSystem::Wayland);
    setenv("VIMBREL_SCREEN", "x11", 1);
    EXPECT_EQ(CurrentScreenSystem(), ScreenSystem::Wayland) << "made once";
    SetScreenSystem(ScreenSystem::Automatic);
    EXPECT_EQ(CurrentScreenSystem(), ScreenSystem::X11);
    unsetenv("VIMBREL_SCREEN");
    // A Wayland session without a portal has its X server at least.
    desktop.KillPortal();
    SetScreenSystem(ScreenSystem::Automatic);
    TakeLog();
    EXPECT_EQ(CurrentScreenSystem(), ScreenSystem::X11);
    EXPECT_THAT(TakeLog(),
                Contains(testing::Field(&LogLine::text, HasSubstr("no desktop portal"))));
    SetScreenSystem(ScreenSystem::Wayland);
    EXPECT_EQ(ScreenAccess().Ask({}), Result::Failed);
}

TEST(WaylandScreenTest, ARealCompositorIsShown) {
    if (std::system("command -v mutter > /dev/null") != 0) GTEST_SKIP() << "mutter is missing";
    PortalDesktop desktop({"answer compositor"});
    setenv("LIBGL_ALWAYS_SOFTWARE", "1", 1);
    setenv("GSETTINGS_BACKEND", "memory", 1);
    desktop.Serve(
        {"mutter", "--headless", "--wayland", "--no-x11", "--virtual-monitor", "320x200"});
    ScreenAccess access;
    EXPECT_TRUE(WaitUntil([&] { return access.Ask({}) == Result::Granted; }));
    ASSERT_EQ(access.Width(), 320);
    ASSERT_EQ(access.Height(), 200);
    desktop.Serve({VIMBREL_TEST_CLIENT});
    Screen screen({0, 0, 320, 200}, true);
    // The compositor fades the window in.
    const auto quadrants = [&] {
        return std::vector{screen.At(0, 0), screen.At(159, 99), screen.At(319, 0),
                           screen.At(0, 199), screen.At(319, 199)};
    };
    const std::vector<std::uint32_t> shown{0xC02010, 0xC02010, 0x2010C0, 0x10C020, 0x808080};
    WaitUntil([&] {
        screen.source.RequestSample();
        return quadrants() == shown;
    });
    EXPECT_EQ(quadrants(), shown);
    // The client's pointer has 8 x 8 pixels and its hot spot at (1, 1).
    for (const auto& [x, y] : {std::pair{100, 50}, {200, 150}}) {
        ASSERT_EQ(desktop.Tell("pointer " + std::to_string(x) + ' ' + std::to_string(y)), "ok");
        EXPECT_TRUE(SeesAt(screen, x - 1, y - 1, 0xFFFF00));
        EXPECT_EQ(screen.At(x + 6, y + 6), 0xFFFF00u);
        EXPECT_NE(screen.At(x - 2, y), 0xFFFF00u);
        EXPECT_NE(screen.At(x + 7, y), 0xFFFF00u);
    }
}

TEST(WaylandScreenTest, ARequestAllocatesNothing) {
    PortalDesktop desktop;
    ScreenAccess access;
    ASSERT_EQ(access.Ask({}), Result::Granted);
    Screen screen(whole, true);
    screen.dispatcher.video.reserve(1000);
    desktop.Tell("run 200");
    EXPECT_TRUE(WaitUntil([&] { return screen.Request().empty(); }));
    SwitchLog(6);
    for (int i = 0; i < 3; ++i) screen.source.RequestSample();
    const std::uint64_t before = AllocationCount();
    for (int i = 0; i < 20; ++i) screen.source.RequestSample();
    EXPECT_EQ(AllocationCount(), before);
    SwitchLog(0);
}

TEST(WaylandScreenTest, RoundsLeaveNothingBehind) {
    PortalDesktop desktop({"paint 0 0 64 48 112233"});
    ProcessCounts before;
    const int rounds = Rounds(12);
    for (int i = 0; i < rounds + 3; ++i) {
        if (i == 3) before = ProcessCounts::Now();
        Screen screen(whole);
        EXPECT_TRUE(SeesAt(screen, 1, 1, 0x112233)) << i;
        screen.source.Close();
    }
    const ProcessCounts after = ProcessCounts::Now();
    EXPECT_EQ(after.handles, before.handles);
    EXPECT_EQ(after.threads, before.threads);
}

}  // namespace

}  // namespace Vimbrel::test

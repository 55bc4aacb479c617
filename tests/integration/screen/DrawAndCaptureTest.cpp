// Real windows with known pixels, captured by each back end of the system and compared pixel by
// pixel.
#include <gmock/gmock.h>

#include <functional>

#include "ScreenCapture/DXCapture.h"
#include "ScreenCapture/GdiCapture.h"
#include "ScreenCapture/WindowCapture.h"
#include "ScreenCapture/system/CaptureSystem.h"
#include "tests/fakes/CapturingLog.h"
#include "tests/fakes/RecordingDispatcher.h"
#include "tests/support/CapturedPicture.h"
#include "tests/support/TestScreen.h"
#include "tests/support/TestWindow.h"
#include "tests/support/Wine.h"
#include "vimbrel/MediaSourceScreen.h"

namespace Vimbrel::test {

namespace {

class DrawAndCaptureTest : public testing::Test {
protected:
    // What the back ends said helps where a test fails.
    ~DrawAndCaptureTest() override {
        if (!HasFailure()) return;
        for (const LogLine& line : TakeLog()) std::printf("[ log      ] %s\n", line.text.c_str());
    }

    // The pixel of the desktop, where the two windows are.
    std::uint32_t Desktop(int x, int y) const {
        if (x >= 60 && x < 60 + upper.Width() && y >= 50 && y < 50 + upper.Height())
            return upper.Expected(x - 60, y - 50);
        return lower.Expected(x - 20, y - 10);
    }

    // How many pixels of a picture are not as expected; the byte of alpha does not count.
    static int Differences(const BYTE* bits, int width, int height,
                           const std::function<std::uint32_t(int, int)>& expected) {
        int different = 0;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                different += ColorAt(bits, width * 4, x, y) != expected(x, y);
            }
        }
        return different;
    }

    const CaptureSystem& system = PlatformCaptureSystem();
    TestScreen screen;
    TestWindow lower{20, 10, 200, 150, 1, "lower"};
    TestWindow upper{60, 50, 51, 33, 2, "upper"};
    LONG width = 0;
    LONG height = 0;
};

TEST_F(DrawAndCaptureTest, BitBltOfTheDesktop) {
    GdiCapture capture(system.gdi);
    capture.drawCursor = FALSE;
    capture.Start({33, 21, 160, 122});
    capture.Capture();
    ASSERT_TRUE(capture.GetBits());
    EXPECT_EQ(Differences(capture.GetBits(), 127, 101,
                          [&](int x, int y) { return Desktop(33 + x, 21 + y); }),
              0);
    // Of a rectangle beyond the screen what is inside comes; the rest is black.
    upper.Close();
    capture.Start({-7, -5, TestScreen::width + 9, TestScreen::height + 3});
    capture.Capture();
    const int row = TestScreen::width + 16;
    // Wine gives nothing at all where a part is outside.
    if (!RunsUnderWine()) {
        EXPECT_EQ(ColorAt(capture.GetBits(), row * 4, 7 + 20, 5 + 10), lower.Expected(0, 0));
    }
    EXPECT_EQ(Differences(capture.GetBits(), row, 5, [](int, int) { return 0; }), 0);
}

TEST_F(DrawAndCaptureTest, TheFrontBuffer) {
    DXCapture capture(system);
    capture.drawCursor = false;
    const HRESULT hr = capture.InitCapture({33, 21, 160, 122});
    ASSERT_GE(hr, 0) << std::hex << hr;
    const BYTE* bits = capture.Capture();
    ASSERT_TRUE(bits);
    // The front buffer of Wine is that of the device's own window: it has no picture of the
    // desktop, and locks what is outside.
    if (RunsUnderWine()) return;
    EXPECT_EQ(Differences(bits, 127, 101, [&](int x, int y) { return Desktop(33 + x, 21 + y); }),
              0);
    // The part inside the screen goes to the corner; nothing else is written.
    ASSERT_GE(capture.InitCapture({-20, -10, 30, 40}), 0);
    bits = capture.Capture();
    ASSERT_TRUE(bits);
    EXPECT_EQ(Differences(bits + (10 * 50 + 20) * 4, 10, 1,
                          [&](int x, int) { return lower.Expected(x, 0); }),
              0);
    EXPECT_EQ(Differences(bits + 40 * 50 * 4, 50, 10, [](int, int) { return 0; }), 0);
    // All of it outside: no picture. And no bitmap for swapped sides.
    ASSERT_GE(capture.InitCapture({-20, -10, -5, -5}), 0);
    EXPECT_FALSE(capture.Capture());
    EXPECT_EQ(capture.InitCapture({9, 0, 5, 5}), E_FAIL);
}

TEST_F(DrawAndCaptureTest, AWindowThroughItsLife) {
    WindowCapture capture(system);
    capture.drawCursor = false;
    capture.Start(upper.Handle());
    const BYTE* bits = capture.Capture(&width, &height);
    ASSERT_TRUE(bits);
    EXPECT_EQ(width, 51);
    EXPECT_EQ(height, 33);
    const auto pattern = [&](int x, int y) { return upper.Expected(x, y); };
    EXPECT_EQ(Differences(bits, 51, 33, pattern), 0);

    upper.Resize(64, 41);
    bits = capture.Capture(&width, &height);
    ASSERT_TRUE(bits);
    EXPECT_EQ(width, 64);
    EXPECT_EQ(height, 41);
    EXPECT_EQ(Differences(bits, 64, 41, pattern), 0);

    upper.Minimise();
    EXPECT_EQ(capture.Capture(&width, &height), bits);
    EXPECT_EQ(width, 64);
    EXPECT_EQ(Differences(bits, 64, 41, pattern), 0);

    upper.Close();
    EXPECT_FALSE(capture.Capture(&width, &height));
    capture.Start(upper.Handle());
    EXPECT_FALSE(capture.Capture(&width, &height));
}

TEST_F(DrawAndCaptureTest, ABlackCornerMovesToPrinting) {
    TestWindow black{60, 50, 8, 8, 0, "black"};
    WindowCapture capture(system);
    capture.drawCursor = false;
    capture.Start(black.Handle());
    for (int i = 0; i < 3; ++i) {
        const BYTE* bits = capture.Capture(&width, &height);
        ASSERT_TRUE(bits);
        EXPECT_EQ(Differences(bits, 8, 8, [](int, int) { return 0; }), 0);
    }
    TestWindow tiny{5, 5, 1, 1, 3, "tiny"};
    capture.Start(tiny.Handle());
    const BYTE* bits = capture.Capture(&width, &height);
    ASSERT_TRUE(bits);
    EXPECT_EQ(width, 1);
    EXPECT_EQ(Differences(bits, 1, 1, [&](int, int) { return tiny.Expected(0, 0); }), 0);
}

TEST_F(DrawAndCaptureTest, TheSourceOfTheDesktop) {
    RecordingDispatcher dispatcher;
    MediaSourceScreen source;
    source.SetDispatcher(&dispatcher);
    MediaSourceScreen::Settings settings;
    settings.rect = {33, 21, 160, 122};
    settings.drawCursor = 0;
    ASSERT_TRUE(source.Open(&settings));
    std::vector<std::string> log;
    for (LogLine& line : TakeLog()) log.push_back(std::move(line.text));
    if (RunsUnderWine()) {
        EXPECT_THAT(log,
                    testing::IsSupersetOf({"Failed to duplicate output hr=0x80004001",
                                           "DXGICapture GetOutputRect failed!",
                                           "Screen Capture - Method: 1, [33, 21], 127 x 101"}));
    } else {
        EXPECT_EQ(log.back(), "Screen Capture - Method: 2, [33, 21], 127 x 101");
    }
    source.Play();
    source.RequestSample();
    ASSERT_EQ(dispatcher.video.size(), 1u);
    if (RunsUnderWine()) return;
    EXPECT_EQ(Differences(dispatcher.video[0].pixels, 127, 101,
                          [&](int x, int y) { return Desktop(33 + x, 21 + y); }),
              0);
}

TEST_F(DrawAndCaptureTest, TheCursorIsWithinTheRectangleOnly) {
    GdiCapture capture(system.gdi);
    const auto differences = [&] {
        capture.Start({30, 20, 130, 120});
        capture.Capture();
        return Differences(capture.GetBits(), 100, 100,
                           [&](int x, int y) { return Desktop(30 + x, 20 + y); });
    };
    MovePointer(80, 70);
    // Wine gives a handle of its desktop's process here, whose shape cannot be asked for.
    if (!RunsUnderWine()) {
        EXPECT_GT(differences(), 0);
    }
    capture.drawCursor = FALSE;
    EXPECT_EQ(differences(), 0);
    capture.drawCursor = TRUE;
    MovePointer(130, 70);
    EXPECT_EQ(differences(), 0);
}

}  // namespace

}  // namespace Vimbrel::test

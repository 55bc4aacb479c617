// Outputs of X servers: turned, several, switched off, away from the desktop's origin.
#include <gmock/gmock.h>

#include <optional>

#include "ScreenCapture/DXGICapture.h"
#include "platform/linux/screen/OutputDuplication.h"
#include "tests/integration/screen/ScreenKit.h"
#include "tests/integration/screen/TwoOutputs.h"
#include "tests/support/Imaging.h"
#include "tests/support/TestCursor.h"
#include "tests/support/TestWindow.h"
#include "tests/support/XServer.h"

namespace Vimbrel::test {

namespace {

using testing::IsEmpty;

TEST(XOutputsTest, ATurnedScreen) {
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

TEST(XOutputsTest, SeveralOutputs) {
    const TwoOutputs outputs;
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
    outputs.Run("--output DUMMY1 --off");
    for (const int x : {100, 200}) {
        // Something new on the other output, which is read first.
        const TestWindow change{x, 0, 20, 20, 2};
        EXPECT_EQ(all.GetOutputBits(pixels.data(), &span), DXGI_ERROR_ACCESS_LOST);
        EXPECT_EQ(ColorAt(pixels.data(), 960 * 4, x, 0), change.Expected(0, 0));
    }
}

// The left one of two monitors is switched off: the desktop has a single output, which stays where
// it was.
TEST(XOutputsTest, ASingleOutputAwayFromTheOrigin) {
    TwoOutputs outputs;
    outputs.SwitchOff(0);
    TestWindow window{650, 20, 100, 50, 1};
    MovePointer(640, 0);
    SetPointerShape(1, 1, 0, 0, {0xFF112233});
    const struct {
        RECT rect;
        POINT window;  // where the picture shows it
    } rows[] = {{{640, 0, 960, 240}, {10, 20}}, {{645, 10, 945, 230}, {5, 10}}};
    for (const auto& row : rows) {
        Screen screen(row.rect, true);
        EXPECT_EQ(screen.method, 2);
        EXPECT_THAT(screen.Request(), IsEmpty());
        int different = 0;
        for (int x = 0; x < 100; ++x)
            different += screen.At(row.window.x + x, row.window.y + 49) != window.Expected(x, 49);
        EXPECT_EQ(different, 0) << testing::PrintToString(screen.opening);
        EXPECT_EQ(screen.At(row.window.x + 100, row.window.y), 0u);
        if (row.rect.left == 640) {
            EXPECT_EQ(screen.At(0, 0), 0x112233u) << "the pointer";
        }
    }
}

TEST(XOutputsTest, ALostOutputIsToldAndComesBackWithAnotherOpen) {
    TwoOutputs outputs;
    outputs.SwitchOff(1);
    Screen screen({0, 0, 640, 480});
    EXPECT_THAT(screen.Request(), IsEmpty());
    EXPECT_FALSE(screen.source.IsLost());
    outputs.SwitchOff(0);
    screen.source.RequestSample();
    EXPECT_TRUE(screen.source.IsLost());
    outputs.SwitchOn(0);
    TestWindow window{10, 10, 60, 40, 1};
    screen.source.RequestSample();
    EXPECT_TRUE(screen.source.IsLost());
    EXPECT_EQ(screen.At(10, 10), 0u);
    screen.source.Close();
    EXPECT_FALSE(screen.source.IsLost());
    ASSERT_TRUE(screen.source.Open());
    EXPECT_THAT(screen.Request(), IsEmpty());
    EXPECT_EQ(screen.At(10, 10), window.Expected(0, 0));
}

}  // namespace

}  // namespace Vimbrel::test

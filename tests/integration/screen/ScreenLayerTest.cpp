// The studio's screen layer on a server whose outputs come and go.
#include <gtest/gtest.h>
#include <objbase.h>

#include <chrono>
#include <thread>

#include "layers/ScreenLayer.h"
#include "tests/integration/screen/TwoOutputs.h"
#include "tests/support/TestWindow.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/Watchdog.h"

namespace studio {
namespace {

using Vimbrel::test::TestWindow;
using Vimbrel::test::TwoOutputs;
using Vimbrel::test::WaitUntil;
using Vimbrel::test::Watchdog;

class ScreenLayerTest : public testing::Test {
protected:
    ScreenLayerTest() {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        outputs.SwitchOff(1);
    }
    ~ScreenLayerTest() override {
        layer.reset();
        CoUninitialize();
    }

    void Open() {
        LayerDescription description;
        description.rect = {0, 0, 640, 480};
        ScreenDescription screen;
        screen.fit = Fit::Stretch;
        std::string error;
        layer = ScreenLayer::Open(description, screen, 50, error);
        ASSERT_TRUE(layer) << error;
    }

    // Whether the layer comes to show the window. It looks at the screen once a second.
    bool Shows(const TestWindow& window, int x, int y) {
        Raster canvas(640, 480);
        return WaitUntil([&] {
            layer->Draw(0, canvas);
            const std::uint8_t* pixel = canvas.At(x, y);
            return static_cast<std::uint32_t>(pixel[2] << 16 | pixel[1] << 8 | pixel[0]) ==
                   window.Expected(0, 0);
        });
    }

    const Watchdog watchdog{"ScreenLayerTest"};
    TwoOutputs outputs;
    std::unique_ptr<Layer> layer;
};

TEST_F(ScreenLayerTest, AnOutputThatGoesOffAndOnIsShownAgain) {
    Open();
    const TestWindow before{10, 10, 50, 50, 1};
    EXPECT_TRUE(Shows(before, 10, 10));
    outputs.SwitchOff(0);
    // The length is the subject: several requests of the layer fail meanwhile, and its look at the
    // screen, once a second, does not come.
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    outputs.SwitchOn(0);
    const TestWindow after{100, 10, 50, 50, 2};
    EXPECT_TRUE(Shows(after, 100, 10));
}

}  // namespace
}  // namespace studio

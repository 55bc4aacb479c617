// The studio's layers of a screen and a window that the user permits to be shown.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <objbase.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "layers/ScreenLayer.h"
#include "tests/support/PortalDesktop.h"
#include "tests/support/TempFolder.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/Watchdog.h"

namespace studio {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using Vimbrel::test::PortalDesktop;
using Vimbrel::test::WaitUntil;
using Vimbrel::test::Watchdog;

// What the process writes to its standard error, as it does.
class ErrorText {
public:
    ErrorText() : before(dup(STDERR_FILENO)) {
        const int file = open((folder / "errors").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        dup2(file, STDERR_FILENO);
        close(file);
    }
    ~ErrorText() {
        dup2(before, STDERR_FILENO);
        close(before);
    }
    bool WaitFor(const std::string& text) const {
        return WaitUntil([&] {
            return Vimbrel::test::ReadText(folder / "errors").find(text) != std::string::npos;
        });
    }

private:
    Vimbrel::test::TempFolder folder;
    int before;
};

class WaylandLayerTest : public testing::Test {
protected:
    WaylandLayerTest() {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        description.place = "layers[0]";
        description.rect = {0, 0, 64, 48};
    }
    ~WaylandLayerTest() override {
        layer.reset();
        CoUninitialize();
    }

    bool Open(bool window = false) {
        layer.reset();
        error.clear();
        if (window) {
            WindowDescription content;
            content.choose = true;
            layer = ScreenLayer::Open(description, content, 50, error);
        } else {
            layer = ScreenLayer::Open(description, ScreenDescription(), 50, error);
        }
        return layer != nullptr;
    }

    bool Shows(std::uint32_t color) {
        Raster canvas(64, 48);
        return WaitUntil([&] {
            layer->Draw(0, canvas);
            const std::uint8_t* const pixel = canvas.At(63, 47);
            return static_cast<std::uint32_t>(pixel[2] << 16 | pixel[1] << 8 | pixel[0]) == color;
        });
    }

    static std::filesystem::path TokenFile() {
        return std::filesystem::path(std::getenv("XDG_STATE_HOME")) / "vimbrel/screen-token";
    }
    static std::string Token() {
        std::ifstream file(TokenFile());
        std::string token;
        std::getline(file, token);
        return token;
    }

    const Watchdog watchdog{"WaylandLayerTest"};
    PortalDesktop desktop{{"paint 0 0 64 48 112233"}};
    LayerDescription description;
    std::unique_ptr<Layer> layer;
    std::string error;
};

TEST_F(WaylandLayerTest, TheUserIsWaitedForAndTheGrantIsKept) {
    desktop.Tell("answer wait");
    const ErrorText errors;
    std::thread user([&] {
        EXPECT_TRUE(errors.WaitFor("layers[0]: waiting for permission to show the screen"));
        desktop.Tell("answer grant");
    });
    EXPECT_TRUE(Open()) << error;
    user.join();
    EXPECT_TRUE(Shows(0x112233));
    EXPECT_EQ(Token(), "token1");
    EXPECT_EQ(std::filesystem::status(TokenFile()).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    EXPECT_TRUE(Open()) << error;
    EXPECT_THAT(desktop.Tell("asked"), HasSubstr("restore_token=token1 starts=2"));
    EXPECT_EQ(Token(), "token2");
}

TEST_F(WaylandLayerTest, ARefusalIsAnErrorOfTheLayer) {
    desktop.Tell("answer refuse");
    EXPECT_FALSE(Open());
    EXPECT_EQ(error, "layers[0]: showing the screen was refused");
    EXPECT_THAT(desktop.Tell("asked"), EndsWith("starts=1"));
}

TEST_F(WaylandLayerTest, WindowsAreChosenByTheUserOnly) {
    EXPECT_TRUE(Open(true)) << error;
    EXPECT_TRUE(Shows(0x112233));
    EXPECT_THAT(desktop.Tell("asked"), HasSubstr("types=2"));
    layer.reset();
    WindowDescription named;
    named.title = "Notes";
    EXPECT_FALSE(ScreenLayer::Open(description, named, 50, error));
    EXPECT_THAT(error, HasSubstr("layers[0]: windows cannot be found by name on Wayland"));
}

TEST_F(WaylandLayerTest, AnotherSizeIsFollowedAndAnEndIsNot) {
    EXPECT_TRUE(Open()) << error;
    desktop.Tell("resize 128 96");
    desktop.Show(0, 0, 128, 96, 0x445566);
    EXPECT_TRUE(Shows(0x445566));
    const ErrorText errors;
    desktop.Tell("closed");
    EXPECT_TRUE(errors.WaitFor("the desktop has ended showing the screen"));
    EXPECT_TRUE(Shows(0x445566));
    EXPECT_THAT(desktop.Tell("asked"), EndsWith("starts=1"));
}

}  // namespace
}  // namespace studio

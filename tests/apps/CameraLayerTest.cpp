// The studio's camera layer and its list, with devices of the test's own behind the kernel's calls.
#include "layers/CameraLayer.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/platform/linux/ds/CameraKit.h"

namespace studio {
namespace {

using Vimbrel::test::Bytes;
using Vimbrel::test::fps30;
using Vimbrel::test::fps60;
using Vimbrel::test::Microseconds;
using Vimbrel::test::ShimCamera;
using Vimbrel::test::ShimFormat;
using Vimbrel::test::WaitUntil;

class CameraLayerTest : public Vimbrel::test::CameraDevice {
protected:
    std::unique_ptr<Layer> Open(const char* format) {
        LayerDescription description;
        description.place = "layers[0]";
        description.rect = {0, 0, 320, 240};
        CameraDescription camera;
        camera.device = "Shim camera";
        camera.format = format;
        std::string error;
        auto layer = CameraLayer::Open(description, camera, error);
        EXPECT_EQ(error, "");
        return layer;
    }
    std::unique_ptr<ShimCamera> Plug(const char* node, const char* bus) {
        auto device = std::make_unique<ShimCamera>(Node(node), yuyv);
        device->state->bus = bus;
        return device;
    }
    // The layer looks at the list once a second, for which it opens each device.
    bool IsLookedAt(ShimCamera& device, int times) {
        return WaitUntil([&] {
            const std::lock_guard guard(device.state->lock);
            return device.state->opened >= times;
        });
    }

    const std::vector<ShimFormat> yuyv = {{V4L2_PIX_FMT_YUYV, {{320, 240, {fps60, fps30}}}}};
    const Vimbrel::ScopedClassOverride cameras = SystemCameras();
};

TEST_F(CameraLayerTest, OnlyTheCameraThatWasShownComesBack) {
    auto device = Plug("video0", "usb-1");
    const auto layer = Open("");
    ASSERT_TRUE(layer);
    EXPECT_TRUE(device->IsStreaming());
    const Bytes white(320 * 240 * 2, 200);
    ASSERT_TRUE(WaitUntil([&] { return device->Deliver(white, Microseconds()); }));
    device.reset();
    // Another one of the same make, under the same number.
    auto other = Plug("video0", "usb-2");
    EXPECT_TRUE(IsLookedAt(*other, 4));
    EXPECT_FALSE(other->IsStreaming());
    device = Plug("video1", "usb-1");
    EXPECT_TRUE(WaitUntil([&] { return device->IsStreaming(); }));
    EXPECT_FALSE(other->IsStreaming());
}

TEST_F(CameraLayerTest, ADeviceHasSeveralPaths) {
    const auto device = Plug("video0", "usb-1");
    std::filesystem::create_directories(folder.path / "v4l/by-id");
    std::filesystem::create_symlink(Node("video0"), folder.path / "v4l/by-id/usb-camera");
    std::string error;
    for (const char* path : {"video0", "v4l/by-id/usb-camera", "v4l/../video0"})
        EXPECT_TRUE(FindCamera({(folder.path / path).string(), ""}, "", error)) << error;
    EXPECT_FALSE(FindCamera({folder.path.string(), ""}, "", error));
}

TEST_F(CameraLayerTest, ARateThatIsNotSetIsReported) {
    const auto device = Plug("video0", "usb-1");
    const struct {
        const char* format;
        const char* text;
    } cases[] = {// The first rate of the size is set.
                 {"320x240@60 YUY2", ""},
                 {"320x240@30 YUY2",
                  "vimbrel: layers[0]: the camera delivers 60 pictures per second, not those of "
                  "\"320x240@30 YUY2\"\n"},
                 {"320x240", ""}};
    for (const auto& [format, text] : cases) {
        testing::internal::CaptureStderr();
        const auto layer = Open(format);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), text);
    }
}

TEST_F(CameraLayerTest, TheListMarksTheFormatThatALayerWithoutOneGets) {
    const auto device = Plug("video0", "usb-1");
    const auto marked = [] {
        std::string formats;
        const nlohmann::json list = ListCameras();
        for (const auto& format : list.at(0).at("formats")) {
            if (format.at("default").get<bool>()) formats += format.at("format").get<std::string>();
        }
        return formats;
    };
    EXPECT_EQ(marked(), "320x240@30 YUY2");
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), RPC_E_CHANGED_MODE)
        << "the test's own start of COM stands";
    // None of those that are listed.
    device->state->rate = {1, 5};
    EXPECT_EQ(marked(), "320x240@60 YUY2");
    testing::internal::CaptureStderr();
    const auto layer = Open("");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(device->state->rate.denominator / device->state->rate.numerator, 60u);
}

}  // namespace
}  // namespace studio

// Cameras on the kernel's calls, with devices of the test's own behind the calls.
#include <cstdlib>

#include "tests/platform/linux/ds/CameraKit.h"

namespace Vimbrel::test {
namespace {

TEST_F(CameraDevice, AreListedByNumberWithTheirLastingNames) {
    ShimCamera tenth(Node("video10"), {{V4L2_PIX_FMT_YUYV, {{320, 240, {fps30}}}}});
    ShimCamera second(Node("video2"), {{V4L2_PIX_FMT_MJPEG, {{640, 480, {fps60, fps30}}}},
                                       {V4L2_PIX_FMT_GREY, {{640, 480, {fps30}}}},
                                       {V4L2_PIX_FMT_YUYV, {{640, 480, {fps30}}}}});
    ShimCamera output(Node("video3"), {{V4L2_PIX_FMT_YUYV, {{320, 240, {fps30}}}}});
    output.state->caps = V4L2_CAP_VIDEO_OUTPUT | V4L2_CAP_STREAMING;
    ShimCamera third(Node("video4"), {{V4L2_PIX_FMT_NV12, {}}});
    Node("video5");  // no device behind it
    Node("vbi0");
    tenth.state->card = "Tenth";
    third.state->bus = "usb-0000:00:14.0-3";
    second.state->pixel_format = V4L2_PIX_FMT_YUYV;
    std::filesystem::create_directories(folder.path / "v4l/by-id");
    std::filesystem::create_directories(folder.path / "v4l/by-path");
    const auto link = folder.path / "v4l/by-id/usb-maker-index0";
    std::filesystem::create_symlink("../../video2", link);
    std::filesystem::create_symlink("../../video10", folder.path / "v4l/by-path/pci-usb");
    const auto& devices = Enumerate();
    ASSERT_EQ(devices.size(), 3u);
    EXPECT_EQ(devices[0]->GetFriendlyName(), L"Shim camera");
    EXPECT_EQ(devices[0]->GetDevicePath(), link.wstring());
    EXPECT_EQ(devices[1]->GetDevicePath(), L"usb-0000:00:14.0-3");
    EXPECT_EQ(devices[2]->GetFriendlyName(), L"Tenth");
    EXPECT_NE(devices[2]->GetDevicePath().find(L"by-path/pci-usb"), std::wstring::npos);
    const auto& formats = devices[0]->GetOutputFormats();
    ASSERT_EQ(formats.size(), 3u);
    EXPECT_STREQ(formats[0].label, L"MJPG 640 x 480, 60FPS");
    EXPECT_STREQ(formats[1].label, L"MJPG 640 x 480, 30FPS");
    EXPECT_STREQ(formats[2].label, L"YUY2 640 x 480, 30FPS");
    EXPECT_EQ(devices[0]->GetOutputFormat(), 2) << "the current one";
    ASSERT_EQ(devices[1]->GetOutputFormats().size(), 1u) << "a driver without a list of sizes";
    EXPECT_EQ(devices[1]->GetOutputFormats()[0].width, 320);
    for (ShimCamera* each : {&second, &third, &output, &tenth}) EXPECT_EQ(each->OpenFiles(), 0);
}

TEST_F(CameraDevice, KeepsItsKindOfPixelsWhereTwoAreOneSubtype) {
    const std::vector<ShimSize> sizes = {{320, 240, {fps30}}, {640, 480, {fps30}}};
    ShimCamera device(Node("video0"), {{V4L2_PIX_FMT_BGR32, sizes}, {V4L2_PIX_FMT_XBGR32, sizes}});
    for (const std::uint32_t pixels : {V4L2_PIX_FMT_XBGR32, V4L2_PIX_FMT_BGR32}) {
        device.state->pixel_format = pixels;
        const auto camera = Play(1);
        EXPECT_EQ(device.state->pixel_format, pixels);
        EXPECT_EQ(device.state->width, 640u);
        enumerator.GetVideoDevices().clear();
    }
}

// Rows of one value each, padded, in every way that pixels lie.
TEST_F(CameraDevice, PicturesOfEveryLayoutArriveWithoutTheirPadding) {
    const struct {
        std::uint32_t pixel_format;
        std::uint32_t bytes;  // of a row without padding
    } cases[] = {{V4L2_PIX_FMT_BGR24, 960},  {V4L2_PIX_FMT_XBGR32, 1280},
                 {V4L2_PIX_FMT_YUYV, 640},   {V4L2_PIX_FMT_NV12, 320},
                 {V4L2_PIX_FMT_YUV420, 320}, {V4L2_PIX_FMT_YVU420, 320}};
    for (const auto& [pixel_format, bytes] : cases) {
        for (const std::uint32_t padding : {0u, 64u}) {
            ShimCamera device(Node("video0"), {{pixel_format, {{320, 240, {fps30}}}}});
            device.state->padding = padding;
            device.state->bytes_per_line += padding;
            const bool planes = bytes == 320;
            device.state->image_size = device.state->bytes_per_line * (planes ? 360 : 240);
            auto camera = Play(0);
            // Grey, which is 128 in every colour difference; the padding would show.
            Bytes picture(device.state->image_size, 0);
            for (std::uint32_t row = 0; row < 240; ++row)
                std::fill_n(picture.begin() + row * (bytes + padding), bytes,
                            static_cast<std::uint8_t>(row < 120 ? 40 : 200));
            if (pixel_format == V4L2_PIX_FMT_YUYV) {
                for (std::size_t row = 0; row < 240; ++row)
                    for (std::size_t x = 1; x < bytes; x += 2)
                        picture[row * (bytes + padding) + x] = 128;
            }
            if (planes) {
                const bool interleaved = pixel_format == V4L2_PIX_FMT_NV12;
                const std::size_t step = interleaved ? bytes + padding : (bytes + padding) / 2;
                const std::size_t row_bytes = interleaved ? 320 : 160;
                for (std::size_t row = 0; row < (interleaved ? 120u : 240u); ++row)
                    std::fill_n(picture.begin() + static_cast<std::ptrdiff_t>(
                                                      240 * (bytes + padding) + row * step),
                                row_bytes, std::uint8_t{128});
            }
            ASSERT_TRUE(Arrives(device, picture));
            camera->Stop();
            const Bytes& seen = viewer.pixels;
            ASSERT_EQ(seen.size(), 320u * 240 * 4);
            const auto pixel = [&](std::size_t x, std::size_t y) {
                return seen.begin() + static_cast<std::ptrdiff_t>((y * 320 + x) * 4);
            };
            for (const std::size_t x : {0u, 160u, 319u}) {
                const auto dark = pixel(x, 0);
                const auto light = pixel(x, 239);
                EXPECT_LT(*dark, 60) << pixel_format << " " << padding << " " << x;
                EXPECT_GT(*light, 180) << pixel_format << " " << padding << " " << x;
                EXPECT_EQ(dark[0], dark[1]);
                EXPECT_EQ(dark[1], dark[2]);
                EXPECT_EQ(light[0], light[2]);
                EXPECT_EQ(light[3], 255);
            }
            camera->Close();
            EXPECT_EQ(device.OpenFiles(), 0);
            enumerator.GetVideoDevices().clear();
        }
    }
}

TEST_F(CameraDevice, StampsAreTheKernelsAndWhatIsShortOrDamagedIsDropped) {
    ShimCamera device(Node("video0"), {{V4L2_PIX_FMT_YUYV, {{320, 240, {fps30}}}}});
    auto camera = Play(0);
    const Bytes whole(320 * 240 * 2, 128);
    ASSERT_TRUE(WaitUntil([&] { return device.IsStreaming(); }));
    const std::int64_t start = Microseconds();
    ASSERT_TRUE(Arrives(device, whole, start));
    const std::int64_t first = viewer.time;
    EXPECT_GE(first, 0);
    EXPECT_EQ(viewer.duration, 333'333);
    ASSERT_TRUE(Arrives(device, whole, start + 40'000));
    EXPECT_EQ(viewer.time - first, 400'000);
    const int before = viewer.pictures;
    // Dropped: short, damaged by the driver's word, empty.
    ASSERT_TRUE(WaitUntil([&] { return device.Deliver(Bytes(1000, 9), start); }));
    ASSERT_TRUE(WaitUntil([&] {
        return device.Deliver(whole, start,
                              V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC | V4L2_BUF_FLAG_ERROR);
    }));
    ASSERT_TRUE(WaitUntil([&] { return device.Deliver({}, start); }));
    ASSERT_TRUE(Arrives(device, whole, start + 120'000));
    EXPECT_EQ(viewer.pictures, before + 1);
    EXPECT_EQ(viewer.time - first, 1'200'000);
    // Those of a pause are dropped; the stream's time goes on after it.
    ASSERT_TRUE(camera->Pause());
    for (int i = 0; i < 8; ++i)
        ASSERT_TRUE(WaitUntil([&] { return device.Deliver(whole, start + 200'000); }));
    EXPECT_EQ(viewer.pictures, before + 1);
    ASSERT_TRUE(camera->Play());
    EXPECT_TRUE(WaitUntil([&] {
        device.Deliver(Bytes(320 * 240 * 2, 90), Microseconds());
        const std::lock_guard guard(viewer.lock);
        return viewer.pixels[1] != 128;
    }));
}

// The decoder comes between by itself; what is no picture does not become one.
TEST_F(CameraDevice, CompressedPicturesAreDecoded) {
    const std::filesystem::path file = folder.path / "grey.jpg";
    const std::string command =
        "ffmpeg -v error -f lavfi -i color=0x808080:size=320x240 -frames:v 1 -pix_fmt yuvj422p " +
        file.string();
    ASSERT_EQ(std::system(command.c_str()), 0);
    const Bytes picture = ReadBytes(file);
    ShimCamera device(Node("video0"), {{V4L2_PIX_FMT_MJPEG, {{320, 240, {fps30}}}}});
    auto camera = Play(0);
    EXPECT_EQ(camera->GetMediaInfo().width, 320);
    ASSERT_TRUE(Arrives(device, picture));
    EXPECT_NEAR(viewer.pixels[0], 128, 3);
    EXPECT_NEAR(viewer.pixels[2], 128, 3);
    const int before = viewer.pictures;
    ASSERT_TRUE(WaitUntil([&] { return device.Deliver(Bytes(5000, 9), Microseconds()); }));
    const Bytes start(picture.begin(), picture.begin() + 100);
    ASSERT_TRUE(WaitUntil([&] { return device.Deliver(start, Microseconds()); }));
    ASSERT_TRUE(Arrives(device, picture));
    EXPECT_EQ(viewer.pictures, before + 1);
    device.Unplug();
    EXPECT_TRUE(WaitUntil([&] { return Pump(), viewer.last_state == State::Stopped; }));
    camera->Close();
    EXPECT_EQ(device.OpenFiles(), 0);
}

TEST_F(CameraDevice, UnpluggingStopsTheSourceAndClosingLeavesNothing) {
    for (int round = 0; round < 50; ++round) {
        ShimCamera device(Node("video0"), {{V4L2_PIX_FMT_YUYV, {{320, 240, {fps30}}}}});
        auto camera = Play(0);
        if (round % 2 == 0) {
            ASSERT_TRUE(Arrives(device, Bytes(320 * 240 * 2, 128)));
        }
        const auto unplugged = std::chrono::steady_clock::now();
        device.Unplug();
        EXPECT_TRUE(WaitUntil([&] { return Pump(), viewer.last_state == State::Stopped; }));
        // The kernel's word needs no polling: far below the second that a host is promised.
        EXPECT_LT(std::chrono::steady_clock::now() - unplugged, std::chrono::seconds(10));
        camera->Close();
        EXPECT_EQ(device.OpenFiles(), 0);
        EXPECT_FALSE(camera->Open());
        enumerator.GetVideoDevices().clear();
    }
}

TEST_F(CameraDevice, WhatCannotBeOpenedOrSetIsRefused) {
    auto device = std::make_unique<ShimCamera>(
        Node("video0"),
        std::vector<ShimFormat>{{V4L2_PIX_FMT_YUYV, {{320, 240, {fps30}}, {640, 480, {fps30}}}}});
    std::unique_ptr<MediaSourceCamera> camera(Enumerate().at(0)->CreateDevice());
    camera->SetOutputFormat(1);
    device->state->refuses = true;
    EXPECT_TRUE(camera->Open()) << "the device keeps its format";
    EXPECT_EQ(camera->GetMediaInfo().width, 320);
    device->state->image_size = 0;
    EXPECT_FALSE(camera->Play());
    EXPECT_TRUE(device->state->buffers.empty()) << "those that cannot be mapped are given back";
    camera->Close();
    camera.reset(enumerator.GetVideoDevices().at(0)->CreateDevice());
    device.reset();
    EXPECT_FALSE(camera->Open()) << "gone between listing and opening";
    EXPECT_EQ(camera->GetState(), State::Closed);
}

}  // namespace
}  // namespace Vimbrel::test

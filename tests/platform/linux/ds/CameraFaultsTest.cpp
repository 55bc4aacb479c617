// Cameras that vanish, hang, or deliver compressed pictures that are not whole.
#include <algorithm>
#include <cstdlib>

#include "tests/fakes/CapturingLog.h"
#include "tests/platform/linux/ds/CameraKit.h"
#include "tests/support/ProcessCounts.h"
#include "vimbrel/AppLog.h"
#include "vimbrel/MediaMessageWindow.h"

namespace Vimbrel::test {
namespace {

class CameraFaults : public CameraDevice {
protected:
    CameraFaults() { TakeLog(); }
    // The file that ffmpeg makes, in the folder of the test.
    Bytes Encoded(const std::string& arguments, const char* name) {
        const std::filesystem::path file = folder.path / name;
        const std::string command = "ffmpeg -v error -y " + arguments + " " + file.string();
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        return ReadBytes(file);
    }
    Bytes Jpeg(const char* colour) {
        return Encoded(std::string("-f lavfi -i color=") + colour +
                           ":size=320x240 -frames:v 1 -pix_fmt yuvj422p",
                       "picture.jpg");
    }
    bool Stops() {
        return WaitUntil([&] { return Pump(), viewer.last_state == State::Stopped; });
    }
    static std::vector<std::string> Warnings() {
        std::vector<std::string> texts;
        for (const LogLine& line : TakeLog()) {
            if (line.level >= HalvorixAppLog::LOG_LEVEL_WARN) texts.push_back(line.text);
        }
        return texts;
    }
    int Pixel(std::size_t place) {
        const std::lock_guard guard(viewer.lock);
        return viewer.pixels.at(place);
    }
};

TEST_F(CameraFaults, ADeviceThatVanishesAfterTheOpeningDoesNotPlay) {
    ShimCamera device(Node("video0"), {{V4L2_PIX_FMT_YUYV, {{320, 240, {fps30}}}}});
    const std::unique_ptr<MediaSourceCamera> camera(Enumerate().at(0)->CreateDevice());
    ASSERT_TRUE(camera->Open());
    device.Unplug();
    EXPECT_FALSE(camera->Play());
    EXPECT_EQ(camera->GetState(), State::Opened);
    EXPECT_EQ(Warnings(), (std::vector<std::string>{"Camera - Start failed - 0x8007001F",
                                                    "IMediaControl Run failed - 0x8007001F"}));
    camera->Close();
    EXPECT_EQ(device.OpenFiles(), 0);
}

TEST_F(CameraFaults, ADeviceThatHangsIsLostAfterTenSeconds) {
    ShimCamera device(Node("video0"), {{V4L2_PIX_FMT_YUYV, {{320, 240, {fps30}}}}});
    device.state->silent = true;
    device.state->interrupts = 3;
    const auto camera = Play(0);
    EXPECT_TRUE(Stops());
    const std::vector<int>& waits = device.state->waits;
    ASSERT_EQ(waits.size(), 4u);
    EXPECT_GT(waits[0], 9'000);
    EXPECT_LE(waits[0], 10'000);
    EXPECT_LE(waits[3], waits[0] - 3 * 20 + 1) << "signals do not make the wait longer";
    EXPECT_EQ(viewer.pictures, 0);
    EXPECT_EQ(Warnings(), std::vector<std::string>{"Camera - Wait failed - 0x800705B4"});
    // The host may try again at once.
    device.state->silent = false;
    camera->Stop();
    EXPECT_TRUE(camera->Play());
    EXPECT_TRUE(Arrives(device, Bytes(320 * 240 * 2, 128)));
}

// Whatever the host does first, nothing streams; the failure leaves a graph that can be tried anew.
TEST_F(CameraFaults, ALostDeviceNeitherPlaysNorPauses) {
    using Control = bool (MediaSourceCamera::*)();
    for (const Control control : {Control(&MediaSourceCamera::Play), &MediaSourceCamera::Pause}) {
        ShimCamera device(Node("video0"), {{V4L2_PIX_FMT_YUYV, {{320, 240, {fps30}}}}});
        device.state->silent = true;
        const auto camera = Play(0);
        ASSERT_TRUE(Stops());
        device.state->silent = false;
        EXPECT_FALSE((*camera.*control)());
        EXPECT_EQ(camera->GetState(), State::Stopped);
        EXPECT_TRUE(camera->Play());
        EXPECT_TRUE(Arrives(device, Bytes(320 * 240 * 2, 128)));
        ASSERT_TRUE(camera->Pause());
        device.Unplug();
        ASSERT_TRUE(Stops());
        const auto started = std::chrono::steady_clock::now();
        EXPECT_FALSE((*camera.*control)());
        EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(4))
            << "nothing waits for a first picture";
        camera->Close();
        enumerator.GetVideoDevices().clear();
    }
}

// The host has not looked at its messages between the loss and the next attempt.
TEST_F(CameraFaults, ALossOfAnEarlierRunIsNotReportedInTheNext) {
    ShimCamera device(Node("video0"), {{V4L2_PIX_FMT_YUYV, {{320, 240, {fps30}}}}});
    device.state->silent = true;
    const std::size_t threads = ProcessCounts::Now().threads;
    const auto camera = Play(0);
    ASSERT_TRUE(WaitUntil([&] { return ProcessCounts::Now().threads <= threads; }));
    {
        const std::lock_guard guard(device.state->lock);
        device.state->silent = false;
    }
    camera->Stop();
    EXPECT_TRUE(camera->Play());
    Pump();
    EXPECT_TRUE(Arrives(device, Bytes(320 * 240 * 2, 128)));
    EXPECT_EQ(camera->GetState(), State::Playing);
}

TEST_F(CameraFaults, ALossIsReportedHoweverOftenTheHostHasTriedMeanwhile) {
    ShimCamera device(Node("video0"), {{V4L2_PIX_FMT_YUYV, {{320, 240, {fps30}}}}});
    const std::size_t threads = ProcessCounts::Now().threads;
    const auto camera = Play(0);
    device.Unplug();
    ASSERT_TRUE(WaitUntil([&] { return ProcessCounts::Now().threads <= threads; }));
    for (int i = 0; i < 3; ++i) EXPECT_FALSE(camera->Play()) << i;
    EXPECT_TRUE(Stops());
}

TEST_F(CameraFaults, ALossIsReportedWhenTheHostsMessagesFillTheQueue) {
    ShimCamera device(Node("video0"), {{V4L2_PIX_FMT_YUYV, {{320, 240, {fps30}}}}});
    const std::size_t threads = ProcessCounts::Now().threads;
    const auto camera = Play(0);
    MediaMessageWindow busy;
    busy.Create(nullptr);
    int posted = 0;
    while (posted < 100'000 && PostMessageW(busy.hwnd, WM_APP, 0, 0)) ++posted;
    EXPECT_LT(posted, 100'000) << "a queue has an end";
    device.Unplug();
    ASSERT_TRUE(WaitUntil([&] { return ProcessCounts::Now().threads <= threads; }));
    EXPECT_TRUE(Stops());
}

// Another camera gets the device file of one that is gone.
TEST_F(CameraFaults, AnotherDeviceUnderTheSameNumberIsNotOpened) {
    const std::vector<ShimFormat> formats = {{V4L2_PIX_FMT_YUYV, {{320, 240, {fps30}}}}};
    const std::string node = Node("video0");
    auto device = std::make_unique<ShimCamera>(node, formats);
    MediaSourceCamera& listed = *Enumerate().at(0);
    const struct {
        const char *card, *bus;
        bool same;
    } cases[] = {{"Shim camera", "shim-1", false},
                 {"Other camera", "shim-0", false},
                 {"Shim camera", "shim-0", true}};
    for (const auto& [card, bus, same] : cases) {
        device = std::make_unique<ShimCamera>(node, formats);
        device->state->card = card;
        device->state->bus = bus;
        const std::unique_ptr<MediaSourceCamera> camera(listed.CreateDevice());
        TakeLog();
        EXPECT_EQ(camera->Open(), same) << card << " " << bus;
        const std::vector<std::string> warnings = Warnings();
        EXPECT_EQ(warnings.size(), same ? 0u : 2u);
        if (!same && warnings.size() == 2) {
            EXPECT_NE(warnings[0].find(std::string(card) + " (" + bus + ")"), std::string::npos);
            EXPECT_EQ(warnings[1], "IMoniker BindToObject failed - 0x80070490");
        }
    }
    // udev makes its links a moment after the device file.
    std::filesystem::create_directories(folder.path / "v4l/by-id");
    std::filesystem::create_symlink("../../video0", folder.path / "v4l/by-id/usb-maker");
    std::unique_ptr<MediaSourceCamera> camera(listed.CreateDevice());
    EXPECT_TRUE(camera->Open());
    camera->Close();
    // A device that was plugged in again.
    device->state->bus = "shim-1";
    ShimCamera again(Node("video1"), formats);
    camera.reset(listed.CreateDevice());
    EXPECT_TRUE(camera->Open() && camera->Play());
    EXPECT_TRUE(again.IsStreaming());
}

// The device may be another program's.
TEST_F(CameraFaults, ListingChangesNoDeviceAndLogsNothing) {
    ShimCamera device(Node("video0"), {{V4L2_PIX_FMT_GREY, {{640, 480, {fps30}}}},
                                       {V4L2_PIX_FMT_YUYV, {{320, 240, {fps30}}}}});
    Enumerate();
    EXPECT_EQ(device.state->pixel_format, std::uint32_t{V4L2_PIX_FMT_GREY});
    device.state->fails = VIDIOC_G_FMT;
    enumerator.GetVideoDevices().clear();
    EXPECT_EQ(Enumerate().size(), 1u);
    EXPECT_EQ(Warnings(), std::vector<std::string>());
    device.state->fails = 0;
    // The device's own format is none that anybody takes.
    const auto camera = Play(-1);
    EXPECT_EQ(device.state->pixel_format, std::uint32_t{V4L2_PIX_FMT_YUYV});
    EXPECT_TRUE(Arrives(device, Bytes(320 * 240 * 2, 128)));
}

TEST_F(CameraFaults, AFormatThatIsRefusedLeavesTheDevicesOwn) {
    ShimCamera device(Node("video0"), {{V4L2_PIX_FMT_BGR24, {{640, 480, {fps30}}}},
                                       {V4L2_PIX_FMT_YUYV, {{320, 240, {fps30}}, {640, 480, {}}}}});
    device.state->adjusts = true;
    const auto camera = Play(2);
    EXPECT_EQ(device.state->pixel_format, std::uint32_t{V4L2_PIX_FMT_BGR24});
    EXPECT_EQ(camera->GetMediaInfo().width, 640);
    EXPECT_TRUE(Arrives(device, Bytes(640 * 480 * 3, 128)));
}

// The device fills its buffers while a slow viewer holds the last picture before the pause.
TEST_F(CameraFaults, PicturesOfAPauseAreNotShownAfterIt) {
    const auto picture = [](std::uint8_t value) { return Bytes(320 * 240 * 2, value); };
    ShimCamera device(Node("video0"), {{V4L2_PIX_FMT_YUYV, {{320, 240, {fps30}}}}});
    const auto camera = Play(0);
    ASSERT_TRUE(Arrives(device, picture(128)));
    const int before = viewer.pictures;
    {
        const std::lock_guard hold(viewer.lock);
        ASSERT_TRUE(device.Deliver(picture(128), Microseconds()));
        ASSERT_TRUE(WaitUntil([&] {
            const std::lock_guard guard(device.state->lock);
            return device.state->ready.empty();
        }));
        ASSERT_TRUE(camera->Pause());
        for (int i = 0; i < 3; ++i) ASSERT_TRUE(device.Deliver(picture(60), Microseconds()));
        ASSERT_TRUE(camera->Play());
    }
    // Of the pictures before the first new one only the held one was shown.
    int old = 0;
    EXPECT_TRUE(WaitUntil([&] {
        device.Deliver(picture(200), Microseconds());
        const std::lock_guard guard(viewer.lock);
        if (viewer.pixels.at(0) <= 190) old = viewer.pictures;
        return viewer.pixels[0] > 190;
    }));
    EXPECT_LE(old, before + 1);
}

// A picture that breaks off would be shown with the rest of an earlier one.
TEST_F(CameraFaults, APictureThatBreaksOffIsDropped) {
    const Bytes white = Jpeg("white");
    const Bytes noise =
        Encoded("-f lavfi -i testsrc=size=320x240 -frames:v 1 -pix_fmt yuvj422p", "noise.jpg");
    ShimCamera device(Node("video0"), {{V4L2_PIX_FMT_MJPEG, {{320, 240, {fps30}}}}});
    const auto camera = Play(0);
    ASSERT_TRUE(Arrives(device, white));
    int pictures = viewer.pictures;
    for (const int percent : {20, 50, 90}) {
        const Bytes part(noise.begin(),
                         noise.begin() + static_cast<std::ptrdiff_t>(noise.size() * percent / 100));
        ASSERT_TRUE(WaitUntil([&] { return device.Deliver(part, Microseconds()); }));
        ASSERT_TRUE(Arrives(device, white));
        EXPECT_EQ(viewer.pictures, ++pictures) << percent << " %";
        EXPECT_GT(Pixel(0), 250) << percent << " %";
    }
    EXPECT_FALSE(Warnings().empty());
    // Neither padding after the end, as drivers leave it, nor an end that is missing is damage.
    Bytes padded = noise;
    padded.resize(padded.size() + 500);
    ASSERT_TRUE(Arrives(device, padded));
    EXPECT_LT(Pixel(0), 250);
    const Bytes endless(white.begin(), white.end() - 2);
    ASSERT_TRUE(Arrives(device, endless));
    EXPECT_GT(Pixel(0), 250);
}

// The stream cut before each access unit delimiter.
std::vector<Bytes> AccessUnits(const Bytes& stream) {
    constexpr std::uint8_t delimiter[] = {0, 0, 0, 1, 9};
    std::vector<Bytes> units;
    auto from = stream.begin();
    while (from != stream.end()) {
        const auto to =
            std::search(from + 1, stream.end(), std::begin(delimiter), std::end(delimiter));
        units.emplace_back(from, to);
        from = to;
    }
    return units;
}

// Each picture comes out with its own buffer: a decoder that holds some back would show a camera
// late by as many.
TEST_F(CameraFaults, H264IsShownFromItsFirstKeyPictureOnWithoutDelay) {
    // Picture n has the grey level 40 + 5 n; every tenth is a key picture.
    const std::vector<Bytes> units = AccessUnits(
        Encoded("-f lavfi -i \"color=black:size=320x240:rate=30,geq=lum='40+5*N':cb=128:cr=128\" "
                "-frames:v 30 -c:v libx264 -bf 0 -g 10 -qp 10 -pix_fmt yuv420p -x264-params "
                "aud=1:scenecut=0 -f h264",
                "stream.h264"));
    ASSERT_EQ(units.size(), 30u);
    ShimCamera device(Node("video0"), {{V4L2_PIX_FMT_H264, {{320, 240, {fps30}}}}});
    device.state->image_size = 320 * 240 * 2;
    const auto camera = Play(0);
    EXPECT_EQ(camera->GetMediaInfo().width, 320);
    // The device streams already when it is opened: the first pictures build on one that is missed.
    for (std::size_t n = 5; n < 10; ++n)
        ASSERT_TRUE(WaitUntil([&] { return device.Deliver(units[n], Microseconds()); }));
    for (std::size_t n = 10; n < 30; ++n) {
        ASSERT_TRUE(Arrives(device, units[n])) << n;
        const double luma = 40.0 + 5.0 * static_cast<double>(n);
        EXPECT_NEAR(Pixel(1), (luma - 16) * 255 / 219, 4) << n;
    }
    EXPECT_EQ(viewer.pictures, 20);
}

}  // namespace
}  // namespace Vimbrel::test

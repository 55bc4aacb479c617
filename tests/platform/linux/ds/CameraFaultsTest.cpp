// Cameras that vanish, hang, or deliver compressed pictures that are not whole.
#include <algorithm>
#include <cstdlib>

#include "tests/fakes/CapturingLog.h"
#include "tests/platform/linux/ds/CameraKit.h"
#include "vimbrel/AppLog.h"

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
    const auto camera = Play(0);
    EXPECT_TRUE(Stops());
    EXPECT_GT(device.state->waited, 9'000);
    EXPECT_LE(device.state->waited, 10'000);
    EXPECT_EQ(viewer.pictures, 0);
    EXPECT_EQ(Warnings(), std::vector<std::string>{"Camera - Wait failed - 0x800705B4"});
    // The host may try again at once.
    device.state->silent = false;
    camera->Stop();
    EXPECT_TRUE(camera->Play());
    EXPECT_TRUE(Arrives(device, Bytes(320 * 240 * 2, 128)));
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

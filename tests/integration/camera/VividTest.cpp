// A camera for real: the kernel's test driver, in the machine that vivid.sh starts.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <winuser.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <set>

#include "tests/support/ProcessCounts.h"
#include "tests/support/Watchdog.h"
#include "vimbrel/MediaSourceEnumerator.h"

namespace Vimbrel::test {
namespace {

using State = MediaSource::State;

struct Viewer final : MediaSource::Dispatcher {
    void OnStateChanged(MediaSource*, State, State to) override { state = to; }
    void OnVideoSample(MediaSource*, unsigned char* pixels, int columns, int rows, int stride,
                       std::int64_t time, std::int64_t) override {
        const std::lock_guard guard(lock);
        times.push_back(time);
        width = columns;
        height = rows;
        // The driver draws colour bars: a picture of one colour would be none.
        plain = std::all_of(pixels, pixels + stride,
                            [&](unsigned char each) { return each == pixels[0] || each == 255; });
    }
    void OnAudioSample(MediaSource*, unsigned char*, int, std::int64_t, std::int64_t) override {}

    std::size_t Count() {
        const std::lock_guard guard(lock);
        return times.size();
    }
    std::mutex lock;
    std::vector<std::int64_t> times;
    int width = 0, height = 0;
    bool plain = true;
    State state = State::Closed;
};

void Pump() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
}

// Presses the driver's button of that name.
bool Press(const char* node, const char* name) {
    const int file = open(node, O_RDWR | O_CLOEXEC);
    v4l2_queryctrl control{};
    control.id = V4L2_CTRL_FLAG_NEXT_CTRL;
    bool pressed = false;
    while (!pressed && ioctl(file, VIDIOC_QUERYCTRL, &control) == 0) {
        if (std::strcmp(reinterpret_cast<const char*>(control.name), name) == 0) {
            v4l2_control value{control.id, 1};
            pressed = ioctl(file, VIDIOC_S_CTRL, &value) == 0;
        }
        control.id |= V4L2_CTRL_FLAG_NEXT_CTRL;
    }
    close(file);
    return pressed;
}

bool SetThirty(const char* node) {
    const int file = open(node, O_RDWR | O_CLOEXEC);
    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    format.fmt.pix.width = 640;
    format.fmt.pix.height = 360;
    format.fmt.pix.pixelformat = V4L2_PIX_FMT_YUYV;
    v4l2_streamparm rate{};
    rate.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    rate.parm.capture.timeperframe = {1, 30};
    const bool set =
        ioctl(file, VIDIOC_S_FMT, &format) == 0 && ioctl(file, VIDIOC_S_PARM, &rate) == 0;
    close(file);
    return set;
}

class Vivid : public testing::Test {
protected:
    static void SetUpTestSuite() {
        if (!std::getenv("VIMBREL_VIVID")) GTEST_SKIP() << "runs in the machine of vivid.sh";
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        MediaSourceEnumerator::GetInstance()->EnumerateVideoDS();
    }
    const std::vector<std::unique_ptr<MediaSourceCamera>>& Devices() {
        return MediaSourceEnumerator::GetInstance()->GetVideoDevices();
    }
    std::unique_ptr<MediaSourceCamera> Open(int format) {
        std::unique_ptr<MediaSourceCamera> camera(Devices().at(0)->CreateDevice());
        camera->SetOutputFormat(format);
        camera->SetDispatcher(&viewer);
        EXPECT_TRUE(camera->Open());
        EXPECT_TRUE(camera->Play());
        return camera;
    }
    const Watchdog watchdog{"vivid"};
    Viewer viewer;
};

TEST_F(Vivid, EveryFormatAndSizeDeliversPictures) {
    ASSERT_EQ(Devices().size(), 1u);
    EXPECT_EQ(Devices()[0]->GetFriendlyName(), L"vivid");
    EXPECT_FALSE(Devices()[0]->GetDevicePath().empty());
    const auto& formats = Devices()[0]->GetOutputFormats();
    ASSERT_FALSE(formats.empty());
    EXPECT_GE(Devices()[0]->GetOutputFormat(), 0);
    std::set<std::wstring> opened, pixels;
    std::set<std::pair<int, int>> sizes;
    Open(0)->Close();  // the thread's queue of messages stays
    const std::size_t files = ProcessCounts::Now().handles;
    for (std::size_t i = 0; i < formats.size(); ++i) {
        // The rate plays no part: those of one size and kind of pixels are one format.
        const std::wstring label = formats[i].label;
        if (!opened.insert(label.substr(0, label.find(L','))).second) continue;
        const bool known = !pixels.insert(label.substr(0, label.find(L' '))).second;
        const bool seen = !sizes.insert({formats[i].width, formats[i].height}).second;
        const std::size_t enough = known && seen ? 1 : 3;
        viewer.times.clear();
        viewer.plain = true;
        const auto camera = Open(static_cast<int>(i));
        EXPECT_TRUE(WaitUntil([&] { return viewer.Count() >= enough; })) << i;
        camera->Stop();
        EXPECT_EQ(viewer.width, formats[i].width) << i;
        EXPECT_EQ(viewer.height, formats[i].height) << i;
        // The driver's alpha is 0.
        EXPECT_EQ(viewer.plain, label.find(L"ARGB") == 0) << i;
        camera->Close();
    }
    EXPECT_GE(pixels.size(), 8u);
    EXPECT_EQ(opened.size(), pixels.size() * sizes.size());
    std::printf("%zu formats\n", opened.size());
    EXPECT_EQ(ProcessCounts::Now().handles, files);
}

TEST_F(Vivid, ThreeHundredPicturesHaveNoGap) {
    // By hand, because the first rate of every size is one picture per second.
    ASSERT_TRUE(SetThirty("/dev/video0"));
    const auto camera = Open(-1);
    ASSERT_TRUE(WaitUntil([&] { return viewer.Count() >= 300; }, std::chrono::seconds(60)));
    camera->Stop();
    EXPECT_EQ(camera->GetMediaInfo().frameRate, 30.0);
    constexpr double frame = 10'000'000.0 / 30;
    for (std::size_t i = 1; i < 300; ++i)
        EXPECT_NEAR(static_cast<double>(viewer.times[i] - viewer.times[i - 1]), frame, frame * 0.5)
            << i;
}

// Last, because the device does not come back.
TEST_F(Vivid, ZDisconnectingStopsWithinASecondAndLeavesNothing) {
    const ProcessCounts before = ProcessCounts::Now();
    auto camera = Open(-1);
    ASSERT_TRUE(WaitUntil([&] { return viewer.Count() >= 3; }));
    ASSERT_TRUE(Press("/dev/video0", "Disconnect"));
    const auto pulled = std::chrono::steady_clock::now();
    ASSERT_TRUE(WaitUntil([&] { return Pump(), viewer.state == State::Stopped; }));
    EXPECT_LT(std::chrono::steady_clock::now() - pulled, std::chrono::seconds(1));
    camera->Close();
    EXPECT_FALSE(camera->Open());
    ExpectNothingLeft(before, 1 << 20);
}

}  // namespace
}  // namespace Vimbrel::test

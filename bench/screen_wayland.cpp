// Capturing a desktop of 1920 x 1080 on Wayland that changes everywhere 60 times a second, against
// GStreamer's pipewiresrc with a copy of each frame, each as a process of its own.
//
//     screen_wayland [--rounds N] [--frames N]
//
// CPU is that of many frames less that of one. The delay is from the producer's stamp in the
// picture, written right before the buffer is sent, to the dispatcher.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "bench/ChildProcess.h"
#include "tests/support/PortalDesktop.h"
#include "vimbrel/MediaSourceScreen.h"
#include "vimbrel/ScreenAccess.h"

namespace {

using namespace Vimbrel;

constexpr int width = 1920;
constexpr int height = 1080;
constexpr int rate = 60;

std::int64_t NowMicroseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * std::int64_t{1'000'000} + now.tv_nsec / 1000;
}

class Delays final : public MediaSource::Dispatcher {
public:
    void OnStateChanged(MediaSource*, MediaSource::State, MediaSource::State) override {}
    void OnVideoSample(MediaSource*, unsigned char* pixels, int, int, int, std::int64_t,
                       std::int64_t) override {
        std::uint32_t stamp[2];
        std::memcpy(stamp, pixels, sizeof stamp);
        const std::int64_t sent =
            std::int64_t{stamp[0] & 0xFFFFFF} | std::int64_t{stamp[1] & 0xFFFFFF} << 24;
        // A request that timed out brings the last frame again.
        if (sent != last)
            milliseconds.push_back(static_cast<double>(NowMicroseconds() - sent) / 1000);
        last = sent;
    }
    void OnAudioSample(MediaSource*, unsigned char*, int, std::int64_t, std::int64_t) override {}

    std::vector<double> milliseconds;

private:
    std::int64_t last = 0;
};

// What this program does as a child: takes so many frames.
int Capture(std::size_t frames, bool print) {
    Delays delays;
    MediaSourceScreen source;
    source.SetDispatcher(&delays);
    MediaSourceScreen::Settings settings;
    settings.rect = {0, 0, width, height};
    settings.drawCursor = 0;
    if (!source.Open(&settings)) return 1;
    for (std::size_t i = 0; i < 2 * frames + 100 && delays.milliseconds.size() < frames; ++i)
        source.RequestSample();
    source.Close();
    if (delays.milliseconds.size() < frames) return 1;
    std::vector<double>& times = delays.milliseconds;
    std::sort(times.begin(), times.end());
    if (print) {
        std::printf(
            "  stamp to dispatcher: median %.2f ms (%.2f frames), 99 of 100 within %.2f ms\n",
            times[times.size() / 2], times[times.size() / 2] * rate / 1000,
            times[times.size() * 99 / 100]);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    int rounds = 3;
    int frames = 300;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string name = argv[i];
        const int value = std::atoi(argv[i + 1]);
        if (name == "--capture") return Capture(static_cast<std::size_t>(value), value > 1);
        if (name == "--rounds") rounds = value;
        if (name == "--frames") frames = value;
    }
    test::PortalDesktop desktop({"size 1920 1080", "nodamage", "run 60"});
    setenv("VIMBREL_SCREEN", "wayland", 1);
    double ours = 1e9;
    double theirs = 1e9;
    const auto per_frame = [&](const auto& command) {
        const double one = bench::RunChild(command(1)).cpu_s;
        return (bench::RunChild(command(frames)).cpu_s - one) * 1000 / (frames - 1);
    };
    std::printf("everything changes, %d rounds of %d frames\n", rounds, frames);
    for (int round = 0; round < rounds; ++round) {
        ours = std::min(ours, per_frame([](int count) {
                            return std::vector<std::string>{"/proc/self/exe", "--capture",
                                                            std::to_string(count)};
                        }));
        // The node lives as long as this program has the desktop open.
        ScreenAccess access;
        if (access.Ask({}) != ScreenAccess::Result::Granted) return 1;
        const std::string node = desktop.Tell("node");
        theirs =
            std::min(theirs, per_frame([&](int count) {
                         return std::vector<std::string>{"gst-launch-1.0",
                                                         "-q",
                                                         "pipewiresrc",
                                                         "path=" + node,
                                                         "always-copy=true",
                                                         "num-buffers=" + std::to_string(count),
                                                         "!",
                                                         "video/x-raw,format=BGRx",
                                                         "!",
                                                         "fakesink",
                                                         "sync=false"};
                     }));
    }
    std::printf("  ours %.3f ms CPU a frame, pipewiresrc %.3f; ours / pipewiresrc: %.2f\n", ours,
                theirs, ours / theirs);
    return 0;
}

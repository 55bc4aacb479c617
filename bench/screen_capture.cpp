// Capturing a screen of 1920 x 1080 with its pointer, against ffmpeg's x11grab and GStreamer's
// ximagesrc on the same server, each as a process of its own that takes frames as fast as it can
// and throws them away.
//
//     screen_capture [--rounds N] [--frames N]
//
// A painter changes the screen: a window of 300 x 200 moves 1000 times a second, or everything
// changes 120 times a second. Times are those of many frames less those of one, so that starting up
// does not count. The other two deliver what they read whether it changed or not.
#include <signal.h>
#include <time.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <thread>

#include "bench/ChildProcess.h"
#include "vimbrel/MediaSourceScreen.h"

namespace {

using namespace Vimbrel;
using Clock = std::chrono::steady_clock;

constexpr int width = 1920;
constexpr int height = 1080;

class Counter final : public MediaSource::Dispatcher {
public:
    void OnStateChanged(MediaSource*, MediaSource::State, MediaSource::State) override {}
    void OnVideoSample(MediaSource*, unsigned char* pixels, int, int, int, std::int64_t,
                       std::int64_t) override {
        sum += pixels[(height / 2 * width + width / 2) * 4];
    }
    void OnAudioSample(MediaSource*, unsigned char*, int, std::int64_t, std::int64_t) override {}
    unsigned sum = 0;
};

// What a child changes itself before each request, which otherwise waits for a change.
enum class Change { Nothing, Pixel, Everything };

// What this program does as a child: `frames` requests.
int Capture(int frames, Change change) {
    Counter counter;
    MediaSourceScreen source;
    source.SetDispatcher(&counter);
    MediaSourceScreen::Settings settings;
    settings.rect = {0, 0, width, height};
    if (!source.Open(&settings)) return 1;
    xcb_connection_t* const c = xcb_connect(nullptr, nullptr);
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const xcb_window_t window = xcb_generate_id(c);
    const std::uint32_t values[] = {screen->white_pixel, 1};
    const bool everything = change == Change::Everything;
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, everything ? width : 1,
                      everything ? height : 1, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
    xcb_map_window(c, window);
    for (int i = 0; i < frames; ++i) {
        if (change != Change::Nothing) {
            xcb_clear_area(c, 0, window, 0, 0, 0, 0);
            xcb_flush(c);
        }
        source.RequestSample();
    }
    xcb_disconnect(c);
    return counter.sum == 1;
}

[[noreturn]] void Paint(bool everything, int per_second) {
    xcb_connection_t* const c = xcb_connect(nullptr, nullptr);
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const xcb_window_t window = xcb_generate_id(c);
    const std::uint32_t values[] = {screen->white_pixel, 1};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, everything ? width : 300,
                      everything ? height : 200, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
    xcb_map_window(c, window);
    auto due = Clock::now();
    for (std::uint32_t i = 0; !xcb_connection_has_error(c); ++i) {
        if (everything) {
            const std::uint32_t color = i * 0x010203;
            xcb_change_window_attributes(c, window, XCB_CW_BACK_PIXEL, &color);
            xcb_clear_area(c, 0, window, 0, 0, 0, 0);
        } else {
            const std::uint32_t place[] = {i * 3 % (width - 300), i % (height - 200)};
            xcb_configure_window(c, window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, place);
        }
        xcb_flush(c);
        due += std::chrono::microseconds(1'000'000 / per_second);
        std::this_thread::sleep_until(due);
        if (i % 64 == 0) std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    }
    _exit(0);
}

struct Score {
    double frames_per_second = 0;
    double cpu_ms = 1e9;  // a frame
};

Score Measure(const std::function<std::vector<std::string>(int)>& command, int frames) {
    const bench::ChildCost one = bench::RunChild(command(1));
    const bench::ChildCost all = bench::RunChild(command(frames));
    return {(frames - 1) / (all.wall_s - one.wall_s),
            (all.cpu_s - one.cpu_s) * 1000 / (frames - 1)};
}

pid_t StartServer() {
    int ends[2];
    if (pipe(ends) != 0) std::exit(1);
    const pid_t server = fork();
    if (server == 0) {
        const int null = open("/dev/null", O_RDWR);
        dup2(null, STDERR_FILENO);
        const std::string descriptor = std::to_string(ends[1]);
        execlp("Xvfb", "Xvfb", "-screen", "0", "1920x1080x24", "-nolisten", "tcp", "-noreset",
               "-displayfd", descriptor.c_str(), nullptr);
        _exit(127);
    }
    close(ends[1]);
    std::string display = ":";
    for (char c = 0; read(ends[0], &c, 1) == 1 && c != '\n';) display += c;
    setenv("DISPLAY", display.c_str(), 1);
    return server;
}

// In seconds, of a process that runs.
double CpuOf(pid_t process) {
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &time) != 0) return 0;
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

void Stop(pid_t child) {
    kill(child, SIGTERM);
    waitpid(child, nullptr, 0);
}

}  // namespace

int main(int argc, char** argv) {
    int rounds = 3;
    int frames = 1000;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string name = argv[i];
        const int value = std::atoi(argv[i + 1]);
        if (name == "--capture") return Capture(value, Change::Pixel);
        if (name == "--capture-all") return Capture(value, Change::Everything);
        if (name == "--wait") return Capture(value, Change::Nothing);
        if (name == "--rounds") rounds = value;
        if (name == "--frames") frames = value;
    }
    const std::string display_size = std::to_string(width) + "x" + std::to_string(height);
    const pid_t server = StartServer();
    const std::string display = std::getenv("DISPLAY");
    const std::vector<std::pair<std::string, std::function<std::vector<std::string>(int)>>> sides =
        {{"ours",
          [&](int n) {
              return std::vector<std::string>{"/proc/self/exe", "--capture", std::to_string(n)};
          }},
         {"x11grab",
          [&](int n) {
              return std::vector<std::string>{
                  "ffmpeg",      "-v",   "error",      "-f",        "x11grab",
                  "-draw_mouse", "1",    "-framerate", "100000",    "-video_size",
                  display_size,  "-i",   display,      "-frames:v", std::to_string(n),
                  "-c",          "copy", "-f",         "null",      "-"};
          }},
         {"ximagesrc",
          [&](int n) {
              return std::vector<std::string>{"gst-launch-1.0",
                                              "-q",
                                              "ximagesrc",
                                              "use-damage=false",
                                              "num-buffers=" + std::to_string(n),
                                              "!",
                                              "video/x-raw,framerate=100000/1",
                                              "!",
                                              "fakesink",
                                              "sync=false"};
          }},
         {"ximagesrc use-damage", [&](int n) {
              return std::vector<std::string>{"gst-launch-1.0",
                                              "-q",
                                              "ximagesrc",
                                              "num-buffers=" + std::to_string(n),
                                              "!",
                                              "video/x-raw,framerate=100000/1",
                                              "!",
                                              "fakesink",
                                              "sync=false"};
          }}};
    for (const bool everything : {false, true}) {
        const pid_t painter = fork();
        if (painter == 0) Paint(everything, everything ? 120 : 1000);
        std::map<std::string, Score> best;
        for (int round = 0; round < rounds; ++round) {
            for (const auto& [name, command] : sides) {
                const Score score = Measure(command, frames);
                Score& kept = best[name];
                kept.frames_per_second = std::max(kept.frames_per_second, score.frames_per_second);
                kept.cpu_ms = std::min(kept.cpu_ms, score.cpu_ms);
            }
        }
        Stop(painter);
        double other = 0;
        for (const auto& [name, score] : best) {
            if (name != "ours") other = std::max(other, score.frames_per_second);
        }
        std::printf("%s, %d rounds of %d frames\n",
                    everything ? "everything changes" : "a window moves", rounds, frames);
        for (const auto& [name, score] : best) {
            std::printf("  %-22s %7.1f frames/s   %.3f ms CPU a frame\n", name.c_str(),
                        score.frames_per_second, score.cpu_ms);
        }
        std::printf("  ours / better of the others: %.2f\n",
                    best["ours"].frames_per_second / other);
    }
    // Each frame is changed everywhere: what the server pays counts as well.
    double client = 1e9;
    double server_cpu = 1e9;
    for (int round = 0; round < rounds; ++round) {
        const auto cost = [&](int count) {
            const double before = CpuOf(server);
            const bench::ChildCost child =
                bench::RunChild({"/proc/self/exe", "--capture-all", std::to_string(count)});
            return std::pair{child.cpu_s, CpuOf(server) - before};
        };
        const auto one = cost(1);
        const auto all = cost(frames);
        client = std::min(client, (all.first - one.first) * 1000 / (frames - 1));
        server_cpu = std::min(server_cpu, (all.second - one.second) * 1000 / (frames - 1));
    }
    std::printf(
        "each frame is changed everywhere\n  ours: %.3f ms CPU a frame, the server's: %.3f\n",
        client, server_cpu);
    // A screen that keeps still: what thirty waits cost.
    const bench::ChildCost one = bench::RunChild({"/proc/self/exe", "--wait", "1"});
    const bench::ChildCost waits = bench::RunChild({"/proc/self/exe", "--wait", "31"});
    std::printf("nothing changes\n  ours: %.3f ms CPU and %.1f ms a request\n",
                (waits.cpu_s - one.cpu_s) * 1000 / 30, (waits.wall_s - one.wall_s) * 1000 / 30);
    Stop(server);
    return 0;
}

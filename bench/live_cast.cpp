// The cast against `ffmpeg -f flv` with the same encoder at the same settings, to the same nginx;
// the delay of a frame; and what a frame costs its caller against a copy.
//
//     live_cast [--rounds N] [--frames N]
//     live_cast --caller 1 [--frames N]
//     live_cast --soak SECONDS
//
// The soak casts 1920 x 1080 at 30 frames per second and quality 1, and prints the frames that went
// out and the memory.
//
// nginx with its RTMP module must be installed.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/ChildProcess.h"
#include "tests/support/RtmpServer.h"
#include "tests/support/Sockets.h"
#include "vimbrel/MediaRTMPCast.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Vimbrel::test::RtmpServer;

struct Shape {
    unsigned width = 1280;
    unsigned height = 720;
    std::size_t Bytes() const { return std::size_t{width} * height * 4; }
};

// Soft gradients, grain and a moving disc.
std::vector<unsigned char> Picture(const Shape& shape, unsigned number) {
    std::vector<unsigned char> frame(shape.Bytes());
    std::uint32_t random = number * 7919U + 12345U;
    const float time = static_cast<float>(number) * 0.08F;
    unsigned char* pixel = frame.data();
    for (unsigned y = 0; y < shape.height; ++y) {
        const float v = static_cast<float>(y) / static_cast<float>(shape.height);
        const float down = 70 * std::sin(4 * v - time);
        for (unsigned x = 0; x < shape.width; ++x, pixel += 4) {
            const float u = static_cast<float>(x) / static_cast<float>(shape.width);
            const float dx = u - 0.5F - 0.4F * std::sin(time);
            const float dy = v - 0.5F - 0.4F * std::cos(time * 0.7F);
            const bool disc = dx * dx + dy * dy < 0.02F;
            random = random * 1664525U + 1013904223U;
            const float grain = static_cast<float>(random >> 24) / 32.0F - 4.0F;
            pixel[0] = static_cast<unsigned char>(
                std::clamp((disc ? 200 : 110 + 60 * u) + grain, 0.0F, 255.0F));
            pixel[1] = static_cast<unsigned char>(
                std::clamp((disc ? 40 : 100 + down) + grain, 0.0F, 255.0F));
            pixel[2] = static_cast<unsigned char>(
                std::clamp((disc ? 90 : 140 - 50 * u) + grain, 0.0F, 255.0F));
            pixel[3] = 255;
        }
    }
    return frame;
}

std::unique_ptr<Vimbrel::CMediaRTMPCast> MakeCast(const std::string& url, const Shape& shape) {
    auto cast = Vimbrel::CreateRTMPCast({.framing = Vimbrel::RTMPCastOptions::Framing::Standard});
    cast->SetServer(url, "", "");
    cast->SetVideoOutputFormat(static_cast<int>(shape.width), static_cast<int>(shape.height), 30,
                               1);
    cast->EnableAudio(false);
    return cast;
}

// The child process of our side. It gives frames from a file at their pace, as a studio does.
int Cast(const std::string& raw, const std::string& url) {
    const Shape shape;
    const auto cast = MakeCast(url, shape);
    if (cast->Start() != 0) return 1;
    const int file = open(raw.c_str(), O_RDONLY);
    std::vector<unsigned char> frame(shape.Bytes());
    const auto start = Clock::now();
    for (int number = 0;
         read(file, frame.data(), frame.size()) == static_cast<ssize_t>(frame.size()); ++number) {
        std::this_thread::sleep_until(start + number * 33333us);
        cast->SetVideoSample(frame.data(), shape.width, shape.height,
                             static_cast<int>(shape.width * 4), 10'000'000 + number * 333'333LL);
    }
    std::this_thread::sleep_for(500ms);
    cast->Stop();
    return 0;
}

std::string FramesIn(const RtmpServer& server, const std::string& key) {
    std::string text = server.folder.Run(
        "ffprobe -v quiet -select_streams v -count_packets -show_entries stream=nb_read_packets "
        "-of csv=p=0 " +
        server.Recording(key).string());
    return text.substr(0, text.find('\n'));
}

// The same encoder at the same settings; a limit of the bit rate over two seconds.
std::vector<std::string> FfmpegCommand(const std::string& raw, const std::string& url,
                                       const Shape& shape) {
    const unsigned rate = shape.width * shape.height * 5 / 2;
    std::istringstream words(
        "ffmpeg -v error -re -f rawvideo -pix_fmt bgra -video_size 1280x720 -framerate 30 -i " +
        raw +
        " -vf scale=out_color_matrix=bt709:out_range=tv -pix_fmt nv12 -c:v libx264"
        " -preset veryfast -profile:v main -crf 23 -maxrate " +
        std::to_string(rate) + " -bufsize " + std::to_string(rate * 2) +
        " -g 30 -threads 1 -x264-params bframes=0:rc-lookahead=0:sync-lookahead=0:mbtree=0:"
        "force-cfr=1:sliced-threads=0:slices=1:threads=1:scenecut=0:level=41 -f flv " +
        url);
    return {std::istream_iterator<std::string>(words), {}};
}

void CompareCpu(int rounds, unsigned frames) {
    const RtmpServer server;
    const std::string raw = (server.folder / "frames.raw").string();
    const Shape shape;
    {
        std::ofstream file(raw, std::ios::binary);
        for (unsigned i = 0; i < frames; ++i) {
            const auto frame = Picture(shape, i);
            file.write(reinterpret_cast<const char*>(frame.data()),
                       static_cast<std::streamsize>(frame.size()));
        }
    }
    const std::vector<std::string> commands[2] = {
        {std::filesystem::read_symlink("/proc/self/exe").string(), "--cast", raw,
         server.Url("live", "ours")},
        FfmpegCommand(raw, server.Url("live", "theirs"), shape)};
    double best[2] = {1e9, 1e9};
    for (int round = 0; round < rounds; ++round) {
        for (int side = 0; side < 2; ++side)
            best[side] = std::min(best[side], Vimbrel::bench::RunChild(commands[side]).cpu_s);
    }
    std::this_thread::sleep_for(500ms);
    std::printf(
        "CPU of %u frames: %.2f s against ffmpeg's %.2f s, ratio %.2f; frames recorded: %s and %s; "
        "bytes: %ju and %ju\n",
        frames, best[0], best[1], best[0] / best[1], FramesIn(server, "ours").c_str(),
        FramesIn(server, "theirs").c_str(),
        static_cast<std::uintmax_t>(std::filesystem::file_size(server.Recording("ours"))),
        static_cast<std::uintmax_t>(std::filesystem::file_size(server.Recording("theirs"))));
}

// Passes bytes on to the server, and records when the last ones came: frames are far apart, their
// bytes are not.
class TimingProxy {
public:
    explicit TimingProxy(std::uint16_t server)
        : listener(Vimbrel::test::Listen(port)), relay([this, server] { Run(server); }) {}
    ~TimingProxy() {
        stopping = true;
        relay.join();
    }
    // The time of the last bytes from the cast.
    Clock::time_point Last() {
        const std::lock_guard guard(lock);
        return last;
    }
    std::uint16_t port = 0;

private:
    void Run(std::uint16_t server) {
        while (!stopping && !listener.IsReadable(10)) {
        }
        if (stopping) return;
        const Vimbrel::test::Socket client(accept(listener.Get(), nullptr, nullptr));
        const Vimbrel::test::Socket target = Vimbrel::test::Connect(server);
        std::vector<char> bytes(1 << 20);
        while (!stopping) {
            pollfd watched[] = {{client.Get(), POLLIN, 0}, {target.Get(), POLLIN, 0}};
            if (poll(watched, 2, 5) <= 0) continue;
            for (int i = 0; i < 2; ++i) {
                if (watched[i].revents == 0) continue;
                const ssize_t count = read(watched[i].fd, bytes.data(), bytes.size());
                if (i == 0) {
                    const std::lock_guard guard(lock);
                    last = Clock::now();
                }
                if (count <= 0 || send(watched[1 - i].fd, bytes.data(),
                                       static_cast<std::size_t>(count), MSG_NOSIGNAL) != count)
                    return;
            }
        }
    }

    Vimbrel::test::Socket listener;
    std::mutex lock;
    Clock::time_point last;  // guarded by lock
    std::atomic<bool> stopping{false};
    std::thread relay;
};

double Milliseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

void MeasureDelay(unsigned frames) {
    const RtmpServer server;
    const Shape shape;
    TimingProxy proxy(server.port);
    const auto cast =
        MakeCast("rtmp://127.0.0.1:" + std::to_string(proxy.port) + "/live/key", shape);
    if (cast->Start() != 0) return;
    std::vector<double> delays;
    std::vector<std::vector<unsigned char>> pictures;
    for (unsigned i = 0; i < 30; ++i) pictures.push_back(Picture(shape, i));
    const auto start = Clock::now();
    for (unsigned number = 0; number < frames; ++number) {
        std::this_thread::sleep_until(start + number * 33333us);
        const auto given = Clock::now();
        cast->SetVideoSample(pictures[number % 30].data(), shape.width, shape.height,
                             static_cast<int>(shape.width * 4), 10'000'000 + number * 333'333LL);
        std::this_thread::sleep_until(start + number * 33333us + 32ms);
        // Without bytes the frame counts as late by its whole time.
        delays.push_back(proxy.Last() > given ? Milliseconds(proxy.Last() - given) : 33.3);
    }
    cast->Stop();
    std::sort(delays.begin(), delays.end());
    std::printf(
        "Delay to the socket's other end: median %.1f ms, maximum %.1f ms, %.2f and %.2f frames\n",
        delays[delays.size() / 2], delays.back(), delays[delays.size() / 2] / 33.333,
        delays.back() / 33.333);
}

void FlippedCopy(unsigned char* to, const unsigned char* from, const Shape& shape) {
    const std::size_t row = std::size_t{shape.width} * 4;
    for (std::size_t y = 0; y < shape.height; ++y)
        std::memcpy(to + row * (shape.height - 1 - y), from + row * y, row);
}

void PrintCaller(std::vector<double> ours, std::vector<double> fresh, std::vector<double> kept,
                 double faults) {
    for (auto* times : {&ours, &fresh, &kept}) std::sort(times->begin(), times->end());
    const auto median = [](const std::vector<double>& times) { return times[times.size() / 2]; };
    std::printf(
        "SetVideoSample: median %.3f ms, best %.3f ms; flipped copy into fresh memory %.3f and "
        "%.3f ms (ratio of medians %.2f, of best "
        "%.2f), "
        "into warm memory %.3f and %.3f ms (ratio %.2f, %.2f); %.1f page faults a call\n",
        median(ours), ours[0], median(fresh), fresh[0], median(ours) / median(fresh),
        ours[0] / fresh[0], median(kept), kept[0], median(ours) / median(kept), ours[0] / kept[0],
        faults);
}

void MeasureCaller(unsigned frames) {
    const RtmpServer server;
    const Shape shape;
    const auto cast = MakeCast(server.Url("live", "caller"), shape);
    if (cast->Start() != 0) return;
    std::vector<unsigned char> picture = Picture(shape, 0);
    std::vector<unsigned char> warm(shape.Bytes());
    std::vector<double> ours, fresh, kept;
    const auto faults = [] {
        rusage usage{};
        getrusage(RUSAGE_THREAD, &usage);
        return usage.ru_minflt;
    };
    long our_faults = 0;
    const auto timed = [](std::vector<double>& times, auto&& work) {
        const auto start = Clock::now();
        work();
        times.push_back(Milliseconds(Clock::now() - start));
    };
    const auto start = Clock::now();
    for (unsigned number = 0; number < frames; ++number) {
        std::this_thread::sleep_until(start + number * 40ms);
        picture[number * 4] ^= 255;
        const long before = faults();
        timed(ours, [&] {
            cast->SetVideoSample(picture.data(), shape.width, shape.height,
                                 static_cast<int>(shape.width * 4),
                                 10'000'000 + number * 400'000LL);
        });
        our_faults += faults() - before;
        // The encoder is at rest again.
        std::this_thread::sleep_until(start + number * 40ms + 25ms);
        // Pages that were never touched.
        void* memory = nullptr;
        timed(fresh, [&] {
            memory = mmap(nullptr, shape.Bytes(), PROT_READ | PROT_WRITE,
                          MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            FlippedCopy(static_cast<unsigned char*>(memory), picture.data(), shape);
        });
        munmap(memory, shape.Bytes());
        timed(kept, [&] { FlippedCopy(warm.data(), picture.data(), shape); });
    }
    cast->Stop();
    PrintCaller(std::move(ours), std::move(fresh), std::move(kept),
                static_cast<double>(our_faults) / frames);
}

long ResidentKib() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
    }
    return 0;
}

void Soak(unsigned seconds) {
    const RtmpServer server;
    const Shape shape{1920, 1080};
    const auto cast = MakeCast(server.Url("live", "soak"), shape);
    if (cast->Start() != 0) return;
    std::vector<std::vector<unsigned char>> pictures;
    for (unsigned i = 0; i < 30; ++i) pictures.push_back(Picture(shape, i));
    const auto start = Clock::now();
    for (unsigned number = 0; number < seconds * 30; ++number) {
        std::this_thread::sleep_until(start + number * 33333us);
        cast->SetVideoSample(pictures[number % 30].data(), shape.width, shape.height,
                             static_cast<int>(shape.width * 4), 10'000'000 + number * 333'333LL);
        if (number % 150 == 149)
            std::printf("after %u s: %ld MiB, %d kbit/s\n", number / 30 + 1, ResidentKib() / 1024,
                        cast->GetCurrentBitRate() / 1000);
    }
    std::this_thread::sleep_for(1s);
    cast->Stop();
    std::this_thread::sleep_for(500ms);
    std::printf("%u frames given, %s recorded\n", seconds * 30, FramesIn(server, "soak").c_str());
}

}  // namespace

int main(int count, char** arguments) {
    if (count == 4 && std::strcmp(arguments[1], "--cast") == 0)
        return Cast(arguments[2], arguments[3]);
    int rounds = 3;
    unsigned frames = 300;
    bool caller_only = false;
    for (int i = 1; i + 1 < count; i += 2) {
        const std::string option = arguments[i];
        const auto value = static_cast<unsigned>(std::strtoul(arguments[i + 1], nullptr, 10));
        if (option == "--rounds") rounds = static_cast<int>(value);
        if (option == "--frames") frames = value;
        if (option == "--caller") caller_only = value != 0;
        if (option == "--soak") {
            Soak(value);
            return 0;
        }
    }
    MeasureCaller(frames);
    if (caller_only) return 0;
    MeasureDelay(frames);
    CompareCpu(rounds, frames);
    return 0;
}

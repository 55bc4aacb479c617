// The GIF recorder against ffmpeg's palette filters and GIF muxer: the same frames, each side a
// whole process.
//
//     gif_recording [--rounds N] [--width W --height H] [--frames N]
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <objbase.h>

#include "Source/record/MediaTranscodeGIF.h"
#include "bench/ChildProcess.h"

namespace {

using Bytes = std::vector<unsigned char>;

struct Shape {
    unsigned width = 640;
    unsigned height = 360;
    unsigned frames = 60;
    std::size_t FrameBytes() const { return std::size_t{width} * height * 4; }
};

struct Cost {
    double wall = 1e9;
    double cpu = 1e9;
};

// Soft gradients, grain and moving discs: what a camera gives rather than what a desktop shows.
void WriteSyntheticFrames(const std::string& path, const Shape& shape) {
    std::ofstream file(path, std::ios::binary);
    Bytes frame(shape.FrameBytes());
    std::uint32_t random = 12345;
    for (unsigned n = 0; n < shape.frames; ++n) {
        unsigned char* pixel = frame.data();
        const double time = n * 0.08;
        for (unsigned y = 0; y < shape.height; ++y) {
            for (unsigned x = 0; x < shape.width; ++x, pixel += 4) {
                const double u = static_cast<double>(x) / shape.width;
                const double v = static_cast<double>(y) / shape.height;
                double color[3] = {110 + 80 * std::sin(3 * u + time),
                                   90 + 70 * std::sin(4 * v - time),
                                   120 + 90 * std::cos(2 * (u + v) + time)};
                for (int disc = 0; disc < 5; ++disc) {
                    const double dx = u - 0.5 - 0.4 * std::sin(time * (0.5 + 0.2 * disc) + disc);
                    const double dy =
                        v - 0.5 - 0.4 * std::cos(time * (0.7 + 0.1 * disc) + 2 * disc);
                    const double edge =
                        std::clamp((0.11 - std::sqrt(dx * dx + dy * dy)) * 60, 0.0, 1.0);
                    for (int c = 0; c < 3; ++c)
                        color[c] += edge * ((disc * 70 + c * 90) % 256 - color[c]) * 0.85;
                }
                random = random * 1664525u + 1013904223u;
                const double grain = static_cast<double>(random >> 24) / 16.0 - 8.0;
                for (int c = 0; c < 3; ++c)
                    pixel[c] = static_cast<unsigned char>(std::clamp(color[c] + grain, 0.0, 255.0));
                pixel[3] = 255;
            }
        }
        file.write(reinterpret_cast<const char*>(frame.data()),
                   static_cast<std::streamsize>(frame.size()));
    }
}

Cost Run(const std::vector<std::string>& command) {
    const Vimbrel::bench::ChildCost cost = Vimbrel::bench::RunChild(command);
    return {cost.wall_s, cost.cpu_s};
}

// Our side's child process.
int Record(const std::string& raw, const Shape& shape, const std::string& gif) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    std::ifstream file(raw, std::ios::binary);
    Vimbrel::MediaTranscodeGIF recorder;
    recorder.SetVideoOutputFormat(static_cast<int>(shape.width), static_cast<int>(shape.height));
    recorder.SetVideoFps(25, 1);
    recorder.SetVideoQuality(1);
    recorder.SetVideoFpsAsVideo(true);
    recorder.Create(std::wstring(gif.begin(), gif.end()));
    recorder.Start();
    Bytes frame(shape.FrameBytes());
    std::uint64_t pushed = 0;
    while (file.read(reinterpret_cast<char*>(frame.data()),
                     static_cast<std::streamsize>(frame.size()))) {
        // The queue holds 5; the one beyond is in work.
        for (;;) {
            const Vimbrel::TranscodeStatistics done = Vimbrel::GetTranscodeStatistics(recorder);
            if (pushed - done.videoWritten - done.videoDropped < 5) break;
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        recorder.SetVideoSample(frame.data(), shape.width, shape.height, shape.width * 4, 0, 0);
        ++pushed;
    }
    while (Vimbrel::GetTranscodeStatistics(recorder).videoWritten < pushed &&
           recorder.IsWorking() && Vimbrel::GetTranscodeStatistics(recorder).videoDropped == 0) {
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    recorder.Stop();
    recorder.Cleanup();
    const Vimbrel::TranscodeStatistics done = Vimbrel::GetTranscodeStatistics(recorder);
    if (done.videoWritten != shape.frames || done.videoDropped != 0) {
        std::fprintf(stderr, "%llu of %u frames written\n",
                     static_cast<unsigned long long>(done.videoWritten), shape.frames);
        return 1;
    }
    return 0;
}

// Peak signal to noise over red, green and blue of all frames, in decibels.
double Psnr(const std::string& raw, const std::string& gif, const Shape& shape) {
    const std::string decoded = gif + ".raw";
    Run({"ffmpeg", "-v", "error", "-y", "-i", gif, "-fps_mode", "passthrough", "-f", "rawvideo",
         "-pix_fmt", "bgra", decoded});
    std::ifstream one(raw, std::ios::binary);
    std::ifstream other(decoded, std::ios::binary);
    Bytes a(shape.FrameBytes());
    Bytes b(shape.FrameBytes());
    double squares = 0.0;
    for (unsigned n = 0; n < shape.frames; ++n) {
        if (!one.read(reinterpret_cast<char*>(a.data()), static_cast<std::streamsize>(a.size())) ||
            !other.read(reinterpret_cast<char*>(b.data()),
                        static_cast<std::streamsize>(b.size()))) {
            std::fprintf(stderr, "%s has fewer than %u frames\n", gif.c_str(), shape.frames);
            std::exit(1);
        }
        for (std::size_t i = 0; i < a.size(); ++i) {
            const int difference = i % 4 == 3 ? 0 : a[i] - b[i];
            squares += difference * difference;
        }
    }
    std::filesystem::remove(decoded);
    return 10.0 * std::log10(255.0 * 255.0 * 3.0 * static_cast<double>(shape.frames) * shape.width *
                             shape.height / squares);
}

void Compare(const std::string& self, const char* name, const std::string& raw, const Shape& shape,
             const std::string& folder, int rounds) {
    const std::string size = std::to_string(shape.width) + "x" + std::to_string(shape.height);
    const std::string ours = folder + "/ours.gif";
    const std::string theirs = folder + "/theirs.gif";
    const std::vector<std::string> our_command = {self,
                                                  "--record",
                                                  raw,
                                                  std::to_string(shape.width),
                                                  std::to_string(shape.height),
                                                  std::to_string(shape.frames),
                                                  ours};
    const std::vector<std::string> their_command = {
        "ffmpeg",
        "-v",
        "error",
        "-y",
        "-f",
        "rawvideo",
        "-pix_fmt",
        "bgra",
        "-video_size",
        size,
        "-framerate",
        "25",
        "-i",
        raw,
        "-filter_complex",
        "split[a][b];[a]palettegen=stats_mode=single[p];[b][p]paletteuse=new=1:dither=floyd_"
        "steinberg",
        theirs};
    Cost our_best;
    Cost their_best;
    for (int round = 0; round < rounds; ++round) {
        for (const bool mine : {true, false}) {
            const Cost cost = Run(mine ? our_command : their_command);
            Cost& best = mine ? our_best : their_best;
            best = {std::min(best.wall, cost.wall), std::min(best.cpu, cost.cpu)};
        }
    }
    const double our_psnr = Psnr(raw, ours, shape);
    const double their_psnr = Psnr(raw, theirs, shape);
    const double our_size = static_cast<double>(std::filesystem::file_size(ours)) / 1e6;
    const double their_size = static_cast<double>(std::filesystem::file_size(theirs)) / 1e6;
    std::printf(
        "%-10s %s, %u frames: wall %.3f s against ffmpeg's %.3f s, ratio %.2f; CPU %.3f s against "
        "%.3f s, ratio %.2f\n",
        name, size.c_str(), shape.frames, our_best.wall, their_best.wall,
        our_best.wall / their_best.wall, our_best.cpu, their_best.cpu,
        our_best.cpu / their_best.cpu);
    std::printf("%-10s PSNR %.2f dB against %.2f dB (%+.2f); %.2f MB against %.2f MB, ratio %.2f\n",
                "", our_psnr, their_psnr, our_psnr - their_psnr, our_size, their_size,
                our_size / their_size);
}

}  // namespace

int main(int count, char** arguments) {
    if (count == 7 && std::strcmp(arguments[1], "--record") == 0) {
        const auto number = [&](int i) {
            return static_cast<unsigned>(std::strtoul(arguments[i], nullptr, 10));
        };
        return Record(arguments[2], {number(3), number(4), number(5)}, arguments[6]);
    }
    Shape shape;
    int rounds = 5;
    for (int i = 1; i + 1 < count; i += 2) {
        const std::string option = arguments[i];
        const auto value = static_cast<unsigned>(std::strtoul(arguments[i + 1], nullptr, 10));
        if (option == "--rounds") rounds = static_cast<int>(value);
        if (option == "--width") shape.width = value;
        if (option == "--height") shape.height = value;
        if (option == "--frames") shape.frames = value;
    }
    char folder[] = "/tmp/gif_recording.XXXXXX";
    if (!mkdtemp(folder)) return 1;
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    const std::string raw = std::string(folder) + "/frames.raw";
    WriteSyntheticFrames(raw, shape);
    Compare(self, "synthetic", raw, shape, folder, rounds);
    const std::string size = std::to_string(shape.width) + "x" + std::to_string(shape.height);
    for (const char* source : {"mandelbrot", "testsrc2"}) {
        Run({"ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i",
             std::string(source) + "=s=" + size + ":r=25", "-frames:v",
             std::to_string(shape.frames), "-f", "rawvideo", "-pix_fmt", "bgra", raw});
        Compare(self, source, raw, shape, folder, rounds);
    }
    std::filesystem::remove_all(folder);
    return 0;
}

// The MP4 recorder, as an application uses it, against ffmpeg with the same encoders at the same
// settings: the same raw frames and sound, each side a whole process that reads them from files.
//
//     mp4_recording [--rounds N] [--width W --height H] [--frames N] [--preset NAME]
//
// The preset is that of ffmpeg's side; ours is fixed.
#include <fcntl.h>
#include <mmreg.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/ChildProcess.h"
#include "com/Utf8.h"
#include "pixel/BgraToYuv.h"
#include "vimbrel/MediaTranscode.h"

namespace {

constexpr unsigned frame_rate = 25;
constexpr unsigned sample_rate = 44100;
constexpr unsigned audio_bytes_per_second = 12000;
constexpr std::size_t sound_frame_bytes = 4;

struct Shape {
    unsigned width = 1280;
    unsigned height = 720;
    unsigned frames = 300;
    std::size_t FrameBytes() const { return std::size_t{width} * height * 4; }
    unsigned BitRate() const { return width * height * 5; }
};

struct Cost {
    double wall = 1e9;
    double cpu = 1e9;
    double peak = 1e9;  // MiB
};

// Soft gradients, grain and moving discs: what a camera gives.
void WriteFrames(const std::string& path, const Shape& shape) {
    std::ofstream file(path, std::ios::binary);
    std::vector<unsigned char> frame(shape.FrameBytes());
    std::uint32_t random = 12345;
    for (unsigned n = 0; n < shape.frames; ++n) {
        const float time = static_cast<float>(n) * 0.08f;
        std::vector<float> across(shape.width);
        for (unsigned x = 0; x < shape.width; ++x)
            across[x] =
                80 * std::sin(3 * static_cast<float>(x) / static_cast<float>(shape.width) + time);
        unsigned char* pixel = frame.data();
        for (unsigned y = 0; y < shape.height; ++y) {
            const float v = static_cast<float>(y) / static_cast<float>(shape.height);
            const float down = 70 * std::sin(4 * v - time);
            for (unsigned x = 0; x < shape.width; ++x, pixel += 4) {
                const float u = static_cast<float>(x) / static_cast<float>(shape.width);
                float color[3] = {110 + across[x], 100 + down, 120 + (across[x] - down) / 2};
                for (int disc = 0; disc < 5; ++disc) {
                    const auto d = static_cast<float>(disc);
                    const float dx = u - 0.5f - 0.4f * std::sin(time * (0.5f + 0.2f * d) + d);
                    const float dy = v - 0.5f - 0.4f * std::cos(time * (0.7f + 0.1f * d) + 2 * d);
                    if (dx * dx + dy * dy > 0.0121f) continue;
                    for (int c = 0; c < 3; ++c)
                        color[c] = static_cast<float>((disc * 70 + c * 90) % 256);
                }
                random = random * 1664525u + 1013904223u;
                const float grain = static_cast<float>(random >> 24) / 32.0f - 4.0f;
                for (int c = 0; c < 3; ++c)
                    pixel[c] =
                        static_cast<unsigned char>(std::clamp(color[c] + grain, 0.0f, 255.0f));
                pixel[3] = 255;
            }
        }
        file.write(reinterpret_cast<const char*>(frame.data()),
                   static_cast<std::streamsize>(frame.size()));
    }
}

// A melody with noise, 16 bits stereo.
void WriteSound(const std::string& path, double seconds) {
    std::ofstream file(path, std::ios::binary);
    std::uint32_t random = 777;
    for (unsigned i = 0; i < static_cast<unsigned>(seconds * sample_rate); ++i) {
        const double time = static_cast<double>(i) / sample_rate;
        const double pitch = 220.0 * std::pow(2.0, std::floor(std::fmod(time * 4, 12.0)) / 12.0);
        random = random * 1664525u + 1013904223u;
        for (const double part : {1.0, 1.5}) {
            const double value = 9000 * std::sin(pitch * part * 6.2831853 * time) +
                                 static_cast<double>(random >> 20) / 4;
            const auto sample = static_cast<std::int16_t>(value);
            file.write(reinterpret_cast<const char*>(&sample), 2);
        }
    }
}

Cost Run(const std::vector<std::string>& command) {
    const Vimbrel::bench::ChildCost cost = Vimbrel::bench::RunChild(command);
    return {cost.wall_s, cost.cpu_s, cost.peak_mib};
}

// Our side's child process.
int Record(const std::string& raw, const std::string& sound, const Shape& shape,
           const std::string& mp4) {
    const auto recorder = Vimbrel::CreateMediaTranscodeMP4(false);
    recorder->SetVideoOutputFormat(static_cast<int>(shape.width), static_cast<int>(shape.height));
    recorder->SetVideoFps(frame_rate, 1);
    recorder->SetVideoQuality(1);
    WAVEFORMATEX format{};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = 2;
    format.nSamplesPerSec = sample_rate;
    format.wBitsPerSample = 16;
    format.nBlockAlign = sound_frame_bytes;
    format.nAvgBytesPerSec = sample_rate * sound_frame_bytes;
    recorder->SetAudioOutputFormat(&format, nullptr);
    if (!recorder->Create(Vimbrel::FromUtf8(mp4)) || !recorder->Start()) return 1;
    // The recorder would take everything at once: no more than a few frames may wait.
    const auto wait_until_fewer = [&](std::uint64_t limit) {
        for (;;) {
            const auto counts = Vimbrel::GetTranscodeStatistics(*recorder);
            if (counts.videoTaken + counts.audioTaken - counts.videoWritten - counts.audioWritten <
                limit)
                return;
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
    };
    const int frames_file = open(raw.c_str(), O_RDONLY);
    const int sound_file = open(sound.c_str(), O_RDONLY);
    std::vector<std::uint8_t> frame(shape.FrameBytes());
    std::vector<std::uint8_t> block(sample_rate / frame_rate * sound_frame_bytes);
    constexpr std::int64_t step = 10'000'000 / frame_rate;
    for (std::int64_t time = 0;
         read(frames_file, frame.data(), frame.size()) == static_cast<ssize_t>(frame.size());
         time += step) {
        const ssize_t size = read(sound_file, block.data(), block.size());
        if (size > 0)
            recorder->SetAudioSample(block.data(), static_cast<unsigned>(size), time, step);
        recorder->SetVideoSample(frame.data(), shape.width, shape.height, shape.width * 4, time,
                                 step);
        wait_until_fewer(6);
    }
    wait_until_fewer(1);
    recorder->Stop();
    return 0;
}

std::string Matrix(const Shape& shape) {
    return Vimbrel::MatrixForSize(shape.width, shape.height) == Vimbrel::YuvMatrix::bt709 ? "bt709"
                                                                                          : "bt601";
}

// As ffmpeg's own filter tells it, over luma and chroma.
std::string Psnr(const std::string& raw, const std::string& mp4, const Shape& shape) {
    const std::string command = "ffmpeg -v info -i " + mp4 +
                                " -f rawvideo -pix_fmt bgra -video_size " +
                                std::to_string(shape.width) + "x" + std::to_string(shape.height) +
                                " -framerate " + std::to_string(frame_rate) + " -i " + raw +
                                " -filter_complex '[1:v]scale=out_color_matrix=" + Matrix(shape) +
                                ":out_range=tv,format=yuv420p[r];[0:v][r]psnr' -an -f null - 2>&1 "
                                "</dev/null | grep -o 'average:[0-9.]*'";
    std::string result;
    if (std::FILE* pipe = popen(command.c_str(), "r")) {
        char text[64] = {};
        if (std::fgets(text, sizeof text, pipe)) result = text;
        pclose(pipe);
    }
    return result.substr(0, result.find('\n'));
}

}  // namespace

int main(int count, char** arguments) {
    if (count == 8 && std::strcmp(arguments[1], "--record") == 0) {
        const auto number = [&](int i) {
            return static_cast<unsigned>(std::strtoul(arguments[i], nullptr, 10));
        };
        return Record(arguments[2], arguments[3], {number(4), number(5), number(6)}, arguments[7]);
    }
    Shape shape;
    int rounds = 5;
    std::string preset = "veryfast";
    for (int i = 1; i + 1 < count; i += 2) {
        const std::string option = arguments[i];
        const auto value = static_cast<unsigned>(std::strtoul(arguments[i + 1], nullptr, 10));
        if (option == "--rounds") rounds = static_cast<int>(value);
        if (option == "--width") shape.width = value;
        if (option == "--height") shape.height = value;
        if (option == "--frames") shape.frames = value;
        if (option == "--preset") preset = arguments[i + 1];
    }
    char folder[] = "/tmp/mp4_recording.XXXXXX";
    if (!mkdtemp(folder)) return 1;
    const std::string base = folder;
    const std::string raw = base + "/frames.raw";
    const std::string sound = base + "/sound.raw";
    WriteFrames(raw, shape);
    WriteSound(sound, static_cast<double>(shape.frames) / frame_rate);

    const auto text = [](unsigned value) { return std::to_string(value); };
    const std::string files[2] = {base + "/ours.mp4", base + "/theirs.mp4"};
    const std::vector<std::string> commands[2] = {
        {std::filesystem::read_symlink("/proc/self/exe").string(), "--record", raw, sound,
         text(shape.width), text(shape.height), text(shape.frames), files[0]},
        {"ffmpeg",      "-v",
         "error",       "-y",
         "-f",          "rawvideo",
         "-pix_fmt",    "bgra",
         "-video_size", text(shape.width) + "x" + text(shape.height),
         "-framerate",  text(frame_rate),
         "-i",          raw,
         "-f",          "s16le",
         "-ar",         text(sample_rate),
         "-ac",         "2",
         "-i",          sound,
         "-vf",         "scale=out_color_matrix=" + Matrix(shape) + ":out_range=tv",
         "-c:v",        "libx264",
         "-preset",     preset,
         "-profile:v",  "main",
         "-b:v",        text(shape.BitRate()),
         "-g",          text(2 * frame_rate),
         "-pix_fmt",    "yuv420p",
         "-c:a",        "aac",
         "-b:a",        text(audio_bytes_per_second * 8),
         files[1]}};
    Cost best[2];
    for (int round = 0; round < rounds; ++round) {
        for (int side = 0; side < 2; ++side) {
            const Cost cost = Run(commands[side]);
            best[side] = {std::min(best[side].wall, cost.wall), std::min(best[side].cpu, cost.cpu),
                          std::min(best[side].peak, cost.peak)};
        }
    }
    std::printf(
        "%ux%u, %u frames: wall %.3f s against ffmpeg's %.3f s, ratio %.2f; CPU %.3f s against "
        "%.3f s, ratio %.2f; "
        "peak %.1f MiB against %.1f MiB, ratio %.2f\n",
        shape.width, shape.height, shape.frames, best[0].wall, best[1].wall,
        best[0].wall / best[1].wall, best[0].cpu, best[1].cpu, best[0].cpu / best[1].cpu,
        best[0].peak, best[1].peak, best[0].peak / best[1].peak);
    for (int side = 0; side < 2; ++side) {
        std::printf("%s: %ju bytes, PSNR %s dB\n", side == 0 ? "ours" : "ffmpeg",
                    std::filesystem::file_size(files[side]), Psnr(raw, files[side], shape).c_str());
    }
    std::filesystem::remove_all(base);
    return 0;
}

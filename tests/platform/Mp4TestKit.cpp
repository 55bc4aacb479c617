#include "tests/platform/Mp4TestKit.h"

#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <numbers>
#include <sstream>

namespace Vimbrel::test {

namespace {

// By itself ffmpeg looks at the first 5 s only to find out about the picture, which may begin later.
constexpr char patient[] = " -analyzeduration 20M";

}  // namespace

CommandResult RunCommand(const std::string& command) {
    CommandResult result;
    std::FILE* pipe = popen((command + " 2>&1 </dev/null").c_str(), "r");
    if (!pipe) return result;
    char part[4096];
    for (std::size_t size = 0; (size = std::fread(part, 1, sizeof part, pipe)) > 0;) result.output.append(part, size);
    const int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

HRESULT Open(const std::string& path, const Scene& scene, std::unique_ptr<TranscodePipeline>& pipeline) {
    const VideoInput video_input = {scene.width, scene.height, scene.fps_num, scene.fps_den};
    const VideoOutput video_output = {scene.width, scene.height, scene.fps_num, scene.fps_den, scene.bit_rate, 77};
    const AudioInput audio_input = {scene.sound_rate, scene.channels, scene.bits, scene.is_float};
    const AudioOutput audio_output = {scene.out_rate, scene.out_channels, 12000};
    const bool video = scene.width != 0;
    const bool audio = scene.sound_rate != 0;
    return TranscodePipeline::Create(path, video ? &video_input : nullptr, video ? &video_output : nullptr, audio ? &audio_input : nullptr,
                                     audio ? &audio_output : nullptr, true, pipeline);
}

Bytes Frame(const Scene& scene, int number, double level) {
    Bytes pixels(std::size_t{scene.width} * scene.height * 4);
    std::uint8_t* pixel = pixels.data();
    for (UINT y = 0; y < scene.height; ++y) {
        for (UINT x = 0; x < scene.width; ++x, pixel += 4) {
            const double u = static_cast<double>(x) / scene.width;
            const double v = static_cast<double>(y) / scene.height;
            pixel[0] = static_cast<std::uint8_t>(level * 200 * u);
            pixel[1] = static_cast<std::uint8_t>(level * (120 + 80 * std::sin(6 * v + 0.1 * number)));
            pixel[2] = static_cast<std::uint8_t>(level * 220 * (1 - v));
            pixel[3] = static_cast<std::uint8_t>(x);  // to be ignored
        }
    }
    return pixels;
}

double Sine(const Scene& scene, std::int64_t sample) {
    return 0.5 * std::sin(2 * std::numbers::pi * 1000.0 * static_cast<double>(sample) / scene.sound_rate);
}

Bytes Sound(const Scene& scene, std::int64_t first, std::size_t count, const std::function<double(std::int64_t)>& wave) {
    Bytes bytes;
    for (std::size_t i = 0; i < count; ++i) {
        const double value = wave(first + static_cast<std::int64_t>(i));
        for (UINT channel = 0; channel < scene.channels; ++channel) {
            if (scene.is_float) {
                const auto number = static_cast<float>(value);
                std::uint8_t raw[4];
                std::memcpy(raw, &number, 4);
                bytes.insert(bytes.end(), raw, raw + 4);
                continue;
            }
            const auto number = std::llround(std::ldexp(value, static_cast<int>(scene.bits) - 1)) + (scene.bits == 8 ? 128 : 0);
            for (UINT shift = 0; shift < scene.bits; shift += 8) bytes.push_back(static_cast<std::uint8_t>(number >> shift));
        }
    }
    return bytes;
}

HRESULT Push(TranscodePipeline& pipeline, const Scene& scene, int frames) {
    constexpr std::size_t block = 1000;
    std::int64_t pushed = 0;
    for (int i = 0; i < frames; ++i) {
        if (scene.width != 0) {
            const Bytes frame = Frame(scene, i);
            const HRESULT hr = pipeline.WriteVideo(frame.data(), frame.size(), scene.FrameTime(i), 0);
            if (FAILED(hr)) return hr;
        }
        while (scene.sound_rate != 0 && pushed * second / scene.sound_rate < scene.FrameTime(i + 1)) {
            const Bytes sound = Sound(scene, pushed, block, [&](std::int64_t sample) { return Sine(scene, sample); });
            const HRESULT hr = pipeline.WriteAudio(sound.data(), sound.size(), pushed * second / scene.sound_rate, 0);
            if (FAILED(hr)) return hr;
            pushed += static_cast<std::int64_t>(block);
        }
    }
    return S_OK;
}

HRESULT Record(const std::string& path, const Scene& scene, int frames) {
    std::unique_ptr<TranscodePipeline> pipeline;
    HRESULT hr = Open(path, scene, pipeline);
    if (SUCCEEDED(hr)) hr = Push(*pipeline, scene, frames);
    return SUCCEEDED(hr) ? pipeline->Finish() : hr;
}

std::string Probe(const std::string& path, const std::string& stream, const std::string& entries) {
    const std::string what = stream == "format" ? " -show_entries format=" : " -select_streams " + stream + " -show_entries stream=";
    const CommandResult result = RunCommand(std::string("ffprobe -v warning") + patient + " -of csv=p=0" + what + entries + " " + path);
    EXPECT_EQ(result.status, 0);
    std::string text = result.output;
    while (!text.empty() && (text.back() == '\n' || text.back() == ',')) text.pop_back();
    return text;
}

double ProbeNumber(const std::string& path, const std::string& stream, const std::string& entry) {
    return std::strtod(Probe(path, stream, entry).c_str(), nullptr);
}

std::vector<double> Times(const std::string& path, const std::string& stream) {
    const CommandResult result = RunCommand(std::string("ffprobe -v warning") + patient + " -of csv=p=0 -select_streams " + stream +
                                            " -show_entries packet=pts_time " + path);
    std::istringstream lines(result.output);
    std::vector<double> times;
    for (std::string line; std::getline(lines, line);) times.push_back(std::strtod(line.c_str(), nullptr));
    std::sort(times.begin(), times.end());
    return times;
}

void ExpectDecodes(const std::string& path) {
    const CommandResult result = RunCommand(std::string("ffmpeg -v warning -xerror") + patient + " -i " + path +
                                            " -fps_mode passthrough -enc_time_base -1 -f null -");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "");
}

Bytes DecodedPicture(const std::string& path, const std::string& options) {
    const TemporaryFile raw;
    const CommandResult result = RunCommand(std::string("ffmpeg -v error -y") + patient + " -i " + path + " -fps_mode passthrough " +
                                            options + " -f rawvideo " + raw.Path());
    EXPECT_EQ(result.output, "");
    return raw.Read();
}

std::vector<std::int16_t> DecodedSound(const std::string& path) {
    const TemporaryFile raw;
    const CommandResult result =
        RunCommand(std::string("ffmpeg -v warning -y") + patient + " -i " + path + " -vn -ac 1 -f s16le " + raw.Path());
    EXPECT_EQ(result.output, "");
    const Bytes bytes = raw.Read();
    std::vector<std::int16_t> samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
    return samples;
}

}  // namespace Vimbrel::test

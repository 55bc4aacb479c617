#include "tests/support/Mp4Kit.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <numbers>
#include <sstream>

namespace Vimbrel::test {

namespace {

// By itself ffmpeg looks at the first 5 s only to find out about the picture, which may begin
// later.
constexpr char patient[] = " -analyzeduration 20M";

}  // namespace

CommandResult RunCommand(const std::string& command) {
    const TemporaryFile printed;
    CommandResult result;
    result.status =
        std::system(("( " + command + " ) > " + printed.Path() + " 2>&1 < /dev/null").c_str());
    result.output = ReadText(printed.Path());
    return result;
}

Bytes Frame(const Scene& scene, int number, double level) {
    Bytes pixels(std::size_t{scene.width} * scene.height * 4);
    std::uint8_t* pixel = pixels.data();
    for (UINT y = 0; y < scene.height; ++y) {
        for (UINT x = 0; x < scene.width; ++x, pixel += 4) {
            const double u = static_cast<double>(x) / scene.width;
            const double v = static_cast<double>(y) / scene.height;
            pixel[0] = static_cast<std::uint8_t>(level * 200 * u);
            pixel[1] =
                static_cast<std::uint8_t>(level * (120 + 80 * std::sin(6 * v + 0.1 * number)));
            pixel[2] = static_cast<std::uint8_t>(level * 220 * (1 - v));
            pixel[3] = static_cast<std::uint8_t>(x);  // to be ignored
        }
    }
    return pixels;
}

double Sine(const Scene& scene, std::int64_t sample) {
    return 0.5 *
           std::sin(2 * std::numbers::pi * 1000.0 * static_cast<double>(sample) / scene.sound_rate);
}

Bytes Sound(const Scene& scene, std::int64_t first, std::size_t count,
            const std::function<double(std::int64_t)>& wave) {
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
            const auto number = std::llround(std::ldexp(value, static_cast<int>(scene.bits) - 1)) +
                                (scene.bits == 8 ? 128 : 0);
            for (UINT shift = 0; shift < scene.bits; shift += 8)
                bytes.push_back(static_cast<std::uint8_t>(number >> shift));
        }
    }
    return bytes;
}

std::string Probe(const std::string& path, const std::string& stream, const std::string& entries) {
    const std::string what = stream == "format"
                                 ? " -show_entries format="
                                 : " -select_streams " + stream + " -show_entries stream=";
    const CommandResult result = RunCommand(std::string("ffprobe -v warning") + patient +
                                            " -of csv=p=0" + what + entries + " " + path);
    EXPECT_EQ(result.status, 0);
    std::string text = result.output;
    while (!text.empty() && (text.back() == '\n' || text.back() == ',')) text.pop_back();
    return text;
}

double ProbeNumber(const std::string& path, const std::string& stream, const std::string& entry) {
    return std::strtod(Probe(path, stream, entry).c_str(), nullptr);
}

std::vector<double> Times(const std::string& path, const std::string& stream) {
    const CommandResult result =
        RunCommand(std::string("ffprobe -v warning") + patient + " -of csv=p=0 -select_streams " +
                   stream + " -show_entries packet=pts_time " + path);
    std::istringstream lines(result.output);
    std::vector<double> times;
    for (std::string line; std::getline(lines, line);)
        times.push_back(std::strtod(line.c_str(), nullptr));
    std::sort(times.begin(), times.end());
    return times;
}

void ExpectDecodes(const std::string& path) {
    const CommandResult result =
        RunCommand(std::string("ffmpeg -v warning -xerror") + patient + " -i " + path +
                   " -fps_mode passthrough -enc_time_base -1 -f null -");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "");
}

Bytes DecodedPicture(const std::string& path, const std::string& options) {
    const TemporaryFile raw;
    const CommandResult result =
        RunCommand(std::string("ffmpeg -v error -y") + patient + " -i " + path +
                   " -fps_mode passthrough " + options + " -f rawvideo " + raw.Path());
    EXPECT_EQ(result.output, "");
    return raw.Read();
}

std::vector<std::int16_t> DecodedSound(const std::string& path) {
    const TemporaryFile raw;
    const CommandResult result = RunCommand(std::string("ffmpeg -v warning -y") + patient + " -i " +
                                            path + " -vn -ac 1 -f s16le " + raw.Path());
    EXPECT_EQ(result.output, "");
    const Bytes bytes = raw.Read();
    std::vector<std::int16_t> samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
    return samples;
}

FlashesAndBeeps FindFlashesAndBeeps(const std::string& path, double sound_rate) {
    FlashesAndBeeps found;
    const std::vector<double> times = Times(path, "v");
    const Bytes levels = DecodedPicture(path, "-vf scale=1:1:flags=area,format=gray -pix_fmt gray");
    EXPECT_EQ(times.size(), levels.size());
    for (std::size_t i = 1; i < std::min(times.size(), levels.size()); ++i) {
        if (levels[i] > 100 && levels[i - 1] <= 100) found.flashes.push_back(times[i]);
    }
    const std::vector<std::int16_t> samples = DecodedSound(path);
    std::int64_t quiet_since = -static_cast<std::int64_t>(sound_rate);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (std::abs(samples[i]) < 4000) continue;
        const auto now = static_cast<std::int64_t>(i);
        if (static_cast<double>(now - quiet_since) > sound_rate / 2)
            found.beeps.push_back(static_cast<double>(i) / sound_rate);
        quiet_since = now;
    }
    return found;
}

}  // namespace Vimbrel::test

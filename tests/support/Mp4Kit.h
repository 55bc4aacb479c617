// What the MP4 tests share: pictures and sound to record, and what other programs find in the
// files.
#pragma once

#include <unknwn.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/support/TempFolder.h"

namespace Vimbrel::test {

// A file that is there as long as this is.
class TemporaryFile {
public:
    explicit TemporaryFile(const Bytes& bytes = {})
        : path_(folder_.Write("file", bytes).string()) {}

    const std::string& Path() const { return path_; }
    Bytes Read() const { return ReadBytes(path_); }
    void Write(const Bytes& bytes) const { folder_.Write("file", bytes); }

private:
    TempFolder folder_;
    std::string path_;
};

struct CommandResult {
    int status = -1;     // 0 if the command succeeded
    std::string output;  // both streams
};
CommandResult RunCommand(const std::string& command);

constexpr std::int64_t second = 10'000'000;

struct Scene {
    UINT width = 64;
    UINT height = 48;
    UINT fps_num = 25;
    UINT fps_den = 1;
    UINT bit_rate = 200'000;
    UINT sound_rate = 44100;  // 0 for none, as width
    UINT channels = 2;
    UINT bits = 16;
    bool is_float = false;
    UINT out_rate = 44100;
    UINT out_channels = 2;

    std::int64_t FrameTime(int frame) const { return frame * second * fps_den / fps_num; }
    double Rate() const { return static_cast<double>(fps_num) / fps_den; }
};

// A gradient that moves, with a level from 0 to 1 for its brightness.
Bytes Frame(const Scene& scene, int number, double level = 1.0);
// Of one sound sample's value from -1 to 1 by its number.
Bytes Sound(const Scene& scene, std::int64_t first, std::size_t count,
            const std::function<double(std::int64_t)>& wave);
double Sine(const Scene& scene, std::int64_t sample);

// ffprobe's entries of the first stream of a kind ("v" or "a"), or "format": "width,height".
std::string Probe(const std::string& path, const std::string& stream, const std::string& entries);
double ProbeNumber(const std::string& path, const std::string& stream, const std::string& entry);
// Presentation times of the packets, in seconds, in rising order.
std::vector<double> Times(const std::string& path, const std::string& stream);
// Decodes all of it and expects no warning.
void ExpectDecodes(const std::string& path);
Bytes DecodedPicture(const std::string& path, const std::string& options);
std::vector<std::int16_t> DecodedSound(const std::string& path);

// The seconds at which the decoded picture flashes and the sound beeps.
struct FlashesAndBeeps {
    std::vector<double> flashes;
    std::vector<double> beeps;
};
FlashesAndBeeps FindFlashesAndBeeps(const std::string& path, double sound_rate);

}  // namespace Vimbrel::test

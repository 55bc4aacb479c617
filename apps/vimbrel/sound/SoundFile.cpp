#include "sound/SoundFile.h"

#include <sndfile.h>

#include <algorithm>

namespace studio {

std::unique_ptr<SoundFile> SoundFile::Open(const std::filesystem::path& file, std::string& error) {
    std::error_code code;
    if (!std::filesystem::exists(file, code)) {
        error = file.string() + ": there is no such file";
        return nullptr;
    }
    if (std::filesystem::is_directory(file, code)) {
        error = file.string() + ": is a folder";
        return nullptr;
    }
    SF_INFO info{};
    SNDFILE* const handle = sf_open(file.c_str(), SFM_READ, &info);
    if (!handle) {
        error = file.string() + ": is not a sound file that can be read: " + sf_strerror(nullptr);
        return nullptr;
    }
    std::unique_ptr<SoundFile> sound(new SoundFile(handle, info.samplerate, info.channels));
    constexpr int rate_limit = 768'000;
    if (info.samplerate < 1 || info.samplerate > rate_limit || info.channels < 1) {
        error = file.string() + ": has a rate or a number of channels that makes no sense";
        return nullptr;
    }
    return sound;
}

SoundFile::~SoundFile() { sf_close(handle); }

void SoundFile::Read(float* stereo, std::size_t frames) {
    const auto width = static_cast<std::size_t>(channels);
    block.resize(frames * width);
    const sf_count_t got = std::max<sf_count_t>(
        sf_readf_float(handle, block.data(), static_cast<sf_count_t>(frames)), 0);
    std::fill(block.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(got) * width),
              block.end(), 0.0f);
    for (const float* from = block.data(); frames > 0; --frames, from += width, stereo += 2) {
        stereo[0] = from[0];
        stereo[1] = from[width > 1 ? 1 : 0];
        for (std::size_t i = 2; i < width; ++i) {
            stereo[0] += from[i] / 2;
            stereo[1] += from[i] / 2;
        }
    }
}

}  // namespace studio

// A sound file, read from its beginning to its end. Only this class sees the library that reads it.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "sound/SoundResampler.h"

struct sf_private_tag;

namespace studio {

class SoundFile final : public SoundSource {
public:
    // WAV, FLAC, Ogg and what else the library reads. Null with `error` set to what is wrong with
    // the file.
    static std::unique_ptr<SoundFile> Open(const std::filesystem::path& file, std::string& error);
    ~SoundFile() override;
    SoundFile(const SoundFile&) = delete;
    SoundFile& operator=(const SoundFile&) = delete;

    int Rate() const override { return rate; }

    // One channel becomes both; of more than two, those after the second go into both at half.
    void Read(float* stereo, std::size_t frames) override;

private:
    SoundFile(sf_private_tag* opened, int frames_per_second, int channel_count)
        : handle(opened), rate(frames_per_second), channels(channel_count) {}

    sf_private_tag* const handle;
    const int rate;
    const int channels;
    std::vector<float> block;
};

}  // namespace studio

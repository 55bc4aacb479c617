// All sound of a scene in one stream.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "scene/Scene.h"
#include "sound/SoundFile.h"
#include "sound/SoundResampler.h"

namespace studio {

class SoundMixer {
public:
    static constexpr int channels = 2;

    // Null with `error` set to "place.file: file: what is wrong".
    static std::unique_ptr<SoundMixer> Open(const std::vector<SoundDescription>& descriptions,
                                            std::string& error);

    // Frames a second: 48000 if one of the files has that or a multiple of it, else 44100.
    int Rate() const { return rate; }

    // The next frames, 16 bits, left and right; too loud is cut off at the limits. Valid until the
    // next call.
    const std::int16_t* Read(std::size_t frames);

private:
    struct Track {
        std::unique_ptr<SoundFile> file;
        SoundResampler resampler;
        float volume;
    };

    int rate = 44100;
    std::vector<Track> tracks;
    std::vector<float> part;
    std::vector<float> sum;
    std::vector<std::int16_t> mixed;
};

}  // namespace studio

// All sound of a scene in one stream.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "scene/Scene.h"
#include "sound/LiveSound.h"
#include "sound/SoundResampler.h"

namespace studio {

struct SoundLevel {
    std::string name;  // of the source
    float peak = 0;    // 1 is full scale
    bool muted = false;
};

class SoundMixer {
public:
    static constexpr int channels = 2;

    // Live sources run from here on, and media that start to play from here on are heard. Null with
    // `error` set to "place.file: file: what is wrong", or the same of a device.
    static std::unique_ptr<SoundMixer> Open(const std::vector<SoundDescription>& descriptions,
                                            std::string& error);

    // Frames a second: 48000 if one of the files has that or a multiple of it, else 44100.
    int Rate() const { return rate; }

    // How many frames later than it happens live sound is to be read; 0 without any.
    std::size_t Lag() const;

    // The next frames, 16 bits, left and right; too loud is cut off at the limits. Valid until the
    // next call.
    const std::int16_t* Read(std::size_t frames);

    // The loudest sample of each source since the last call.
    std::vector<SoundLevel> Levels();
    // Of all microphones at once: silent, unless all are, which are heard again then.
    void ToggleMicrophones();

private:
    struct Track {
        std::unique_ptr<SoundSource> source;
        SoundResampler resampler{1, 1};
        std::string name;
        float volume = 1;
        LiveSound* live = nullptr;  // the source, if it is a device
        bool happens = false;       // rather than being read from a file
        float peak = 0;
    };
    static std::unique_ptr<SoundSource> OpenSource(const SoundDescription& description,
                                                   Track& track, std::string& error);

    int rate = 44100;
    std::vector<Track> tracks;
    std::vector<float> part;
    std::vector<float> sum;
    std::vector<std::int16_t> mixed;
};

}  // namespace studio

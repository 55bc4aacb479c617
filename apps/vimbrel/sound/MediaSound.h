// What the media layers of a scene play.
#pragma once

#include "sound/SampleQueue.h"
#include "sound/SoundResampler.h"
#include "vimbrel/AudioFactory2.h"

namespace studio {

// One per process, since the engine behind it is. Media that start to play while it exists are
// heard, and so are microphones that start then: those of the scene have to run before.
class MediaSound final : public SoundSource {
public:
    MediaSound();
    ~MediaSound() override;
    MediaSound(const MediaSound&) = delete;
    MediaSound& operator=(const MediaSound&) = delete;

    int Rate() const override { return rate; }
    void Read(float* stereo, std::size_t frames) override { queue.Read(stereo, frames); }

private:
    // The engine's own format.
    static constexpr int rate = 44100;
    // The engine gets the sound before its output plays it, and with it the pictures.
    static constexpr std::size_t ahead = rate / 25;
    static constexpr std::size_t lead = rate / live_lags_per_second + ahead;
    static constexpr std::size_t limit = rate / 3;

    static constexpr std::int64_t second = 10'000'000;

    Vimbrel::CAudioFactory2& engine;
    std::int64_t next = 0;  // when the next block of the engine is due
    SampleQueue queue{lead, limit};
};

}  // namespace studio

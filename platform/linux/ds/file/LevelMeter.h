// The loudness of each channel.
#pragma once

#include <array>
#include <cstdint>

#include "base/ThreadSafety.h"

namespace Vimbrel {

// Averages over the newest samples. Any thread; its lock is a leaf.
class LevelMeter {
public:
    static constexpr int most_channels = 8;

    void Enable(bool on);
    // Interleaved samples, on the streaming thread.
    void Add(const std::int16_t* samples, int frames, int channels, int frames_per_second);
    // In decibels, -100 for silence. False while off, and for a channel that there is not.
    bool Average(int channel, float& decibels);

private:
    Mutex lock_;
    bool on_ GUARDED_BY(lock_) = false;
    int channels_ GUARDED_BY(lock_) = 0;
    std::array<double, most_channels> powers_ GUARDED_BY(lock_){};  // mean squares
};

}  // namespace Vimbrel

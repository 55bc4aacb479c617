#include "platform/linux/ds/file/LevelMeter.h"

#include <algorithm>
#include <cmath>

namespace Vimbrel {

namespace {

// How fast the average follows.
constexpr double memory_seconds = 0.1;
constexpr float silence = -100.0f;

}  // namespace

void LevelMeter::Enable(bool on) {
    const MutexLock guard(lock_);
    if (on && !on_) powers_ = {};
    on_ = on;
}

void LevelMeter::Add(const std::int16_t* samples, int frames, int channels, int frames_per_second) {
    const MutexLock guard(lock_);
    channels_ = std::min(channels, most_channels);
    if (!on_ || frames <= 0) return;
    const double keep = std::exp(-frames / (memory_seconds * frames_per_second));
    for (int channel = 0; channel < channels_; ++channel) {
        double sum = 0;
        for (int i = 0; i < frames; ++i) {
            const double sample = samples[i * channels + channel] / 32768.0;
            sum += sample * sample;
        }
        double& power = powers_[static_cast<std::size_t>(channel)];
        power = keep * power + (1 - keep) * sum / frames;
    }
}

bool LevelMeter::Average(int channel, float& decibels) {
    const MutexLock guard(lock_);
    if (!on_ || channel < 0 || channel >= channels_) return false;
    const double power = powers_[static_cast<std::size_t>(channel)];
    decibels = power > 1e-10 ? static_cast<float>(10 * std::log10(power)) : silence;
    return true;
}

}  // namespace Vimbrel

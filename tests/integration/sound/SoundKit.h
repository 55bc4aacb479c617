// What the tests on real sound servers share.
#pragma once

#include <objbase.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <numbers>
#include <vector>

#include "base/ThreadSafety.h"
#include "tests/support/SoundServer.h"
#include "tests/support/Tone.h"
#include "tests/support/WaitUntil.h"

namespace Vimbrel::test {

using Samples = std::vector<std::int16_t>;

constexpr unsigned engine_rate = 44'100;

inline Samples StereoTone(double frequency, unsigned rate, double seconds, double amplitude) {
    Samples samples;
    const auto frames = static_cast<std::size_t>(seconds * rate);
    for (std::size_t i = 0; i < frames; ++i) {
        const auto value = static_cast<std::int16_t>(
            std::lround(amplitude * Sine(frequency, rate, static_cast<double>(i))));
        samples.insert(samples.end(), 2, value);
    }
    return samples;
}

// Of a whole frequency, whose seconds are alike.
inline Samples LongTone(double frequency, unsigned rate, int seconds, double amplitude) {
    const Samples second = StereoTone(frequency, rate, 1, amplitude);
    Samples samples;
    for (int i = 0; i < seconds; ++i) samples.insert(samples.end(), second.begin(), second.end());
    return samples;
}

// Never 0, and without a repetition: one place in it is known by its neighbours.
inline Samples Noise(std::size_t count) {
    Samples noise(count);
    std::uint32_t state = 12345;
    for (auto& sample : noise) {
        state = state * 1'664'525 + 1'013'904'223;
        sample = static_cast<std::int16_t>((state >> 17) | 1);
    }
    return noise;
}

// What a dispatcher was called with.
class Heard {
public:
    auto Dispatcher() {
        return [this](unsigned char* data, int size, std::int64_t time, std::int64_t) {
            const MutexLock guard(mutex);
            const std::size_t before = samples.size();
            samples.resize(before + static_cast<std::size_t>(size) / 2);
            std::memcpy(samples.data() + before, data, static_cast<std::size_t>(size) / 2 * 2);
            sizes.push_back(size);
            times.push_back(time);
        };
    }
    std::size_t Count() EXCLUDES(mutex) {
        const MutexLock guard(mutex);
        return samples.size();
    }
    Samples All() EXCLUDES(mutex) {
        const MutexLock guard(mutex);
        return samples;
    }
    std::vector<std::int64_t> Times() EXCLUDES(mutex) {
        const MutexLock guard(mutex);
        return times;
    }
    std::vector<int> Sizes() EXCLUDES(mutex) {
        const MutexLock guard(mutex);
        return sizes;
    }
    void Clear() EXCLUDES(mutex) {
        const MutexLock guard(mutex);
        samples.clear();
    }
    // So many more samples came, each of two channels.
    bool More(std::size_t frames) {
        const std::size_t wanted = Count() + 2 * frames;
        return WaitUntil([&] { return Count() >= wanted; });
    }

private:
    Mutex mutex;
    Samples samples GUARDED_BY(mutex);
    std::vector<int> sizes GUARDED_BY(mutex);
    std::vector<std::int64_t> times GUARDED_BY(mutex);
};

// The amplitude of a tone in the left channel.
inline double Amplitude(const Samples& stereo, double frequency, double rate) {
    std::vector<double> left;
    for (std::size_t i = 0; i < stereo.size(); i += 2) left.push_back(stereo[i]);
    return FitTone(left, frequency, rate).amplitude;
}

// How often the left channel is not the sine that the two samples before begin.
inline int Breaks(const Samples& stereo, double frequency, double rate, int tolerance) {
    const double factor = 2 * std::cos(2 * std::numbers::pi * frequency / rate);
    int breaks = 0;
    for (std::size_t i = 4; i < stereo.size(); i += 2) {
        const double expected = factor * stereo[i - 2] - stereo[i - 4];
        if (std::abs(stereo[i] - expected) > tolerance) ++breaks;
    }
    return breaks;
}

// How long a proof lasts: the usual number, or that of an environment variable of the name.
inline int Length(const char* variable, int usual) {
    const char* const given = std::getenv(variable);
    return given ? std::atoi(given) : usual;
}

template <class Call>
std::chrono::milliseconds Duration(Call&& call) {
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 start);
}

}  // namespace Vimbrel::test

#include "Audio/capture/VoiceLevel.h"

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "Audio/RelaxedOrder.h"

namespace Vimbrel {

namespace {

std::int16_t SampleAt(const unsigned char* data, int index) {
    std::int16_t sample = 0;
    std::memcpy(&sample, data + std::size_t{2} * static_cast<unsigned>(index), sizeof sample);
    return sample;
}

std::optional<double> LevelOfMono(const unsigned char* data, int samples) {
    std::uint32_t sum = 0;
    for (int i = 0; i < samples; ++i) {
        const std::int32_t sample = SampleAt(data, i);
        sum += static_cast<std::uint32_t>(sample * sample);
    }
    const std::int32_t mean = static_cast<std::int32_t>(sum) / samples;
    if (mean < 0) return std::nullopt;
    return std::sqrt(static_cast<double>(mean));
}

double LevelOfStereo(const unsigned char* data, int pairs) {
    double sum = 0;
    for (int i = 0; i < pairs; ++i) {
        const int middle = (SampleAt(data, 2 * i) + SampleAt(data, 2 * i + 1)) / 2;
        sum += static_cast<double>(middle) * middle;
    }
    return std::sqrt(sum / pairs);
}

double Milliseconds(int size, const WAVEFORMATEX& format) {
    constexpr double per_second = 1000.0;
    if (format.nAvgBytesPerSec != 0) return size * per_second / format.nAvgBytesPerSec;
    if (format.nChannels == 0 || format.nSamplesPerSec == 0) return 0;
    const int samples = size / 2;
    return static_cast<double>(samples) / format.nChannels * per_second / format.nSamplesPerSec;
}

// How many packets of `length` make `milliseconds`, rounded down.
int Packets(int milliseconds, double length) {
    const double packets = milliseconds / length;
    return packets < INT_MAX ? static_cast<int>(packets) : INT_MAX;
}

}  // namespace

void VoiceLevel::SetParams(int level, int silence, int voice) {
    level_threshold.store(level, relaxed);
    silence_ms.store(silence, relaxed);
    voice_ms.store(voice, relaxed);
}

std::optional<double> VoiceLevel::Of(const unsigned char* data, int size, unsigned channels) {
    const int samples = size / 2;
    if (channels == 1 && samples > 0) return LevelOfMono(data, samples);
    if (channels == 2 && samples > 1) return LevelOfStereo(data, samples / 2);
    return std::nullopt;
}

std::optional<VoiceLevel::Change> VoiceLevel::Take(const unsigned char* data, int size,
                                                   const WAVEFORMATEX& format) {
    const std::optional<double> level = Of(data, size, format.nChannels);
    const bool loud = level && *level > level_threshold.load(relaxed);
    int& blocks = loud ? voice_blocks : silent_blocks;
    (loud ? silent_blocks : voice_blocks) = 0;
    if (blocks < INT_MAX) ++blocks;
    const double length = Milliseconds(size, format);
    // A packet without a length ends nothing and begins nothing.
    if (!(length > 0) || voice_state == loud) return std::nullopt;
    if (blocks < Packets((loud ? voice_ms : silence_ms).load(relaxed), length)) return std::nullopt;
    voice_state = loud;
    return Change{loud, static_cast<int>(level.value_or(0))};
}

}  // namespace Vimbrel

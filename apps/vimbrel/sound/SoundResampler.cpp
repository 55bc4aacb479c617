#include "sound/SoundResampler.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace studio {

namespace {

constexpr double lobes = 16;       // of the filter to each side, at the lower rate
constexpr double passband = 0.96;  // of what the lower rate can hold
constexpr std::size_t frame_samples = 2;

double Sinc(double x) {
    return std::abs(x) < 1e-9 ? 1.0 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
}

}  // namespace

SoundResampler::SoundResampler(int from, int to) {
    const int common = std::gcd(from, to);
    step = static_cast<std::size_t>(from / common);
    phases = static_cast<std::size_t>(to / common);
    if (from == to) {
        taps = 1;
        weights = {1.0f};
        position = 0;
        return;
    }
    const double cutoff = passband * std::min(1.0, static_cast<double>(to) / from);
    const auto half = static_cast<std::size_t>(std::ceil(lobes / cutoff));
    taps = 2 * half;
    weights.resize(phases * taps);
    for (std::size_t phase = 0; phase < phases; ++phase) {
        float* const row = weights.data() + phase * taps;
        double sum = 0;
        std::vector<double> exact(taps);
        for (std::size_t i = 0; i < taps; ++i) {
            const double x = static_cast<double>(i) - static_cast<double>(half - 1) -
                             static_cast<double>(phase) / static_cast<double>(phases);
            const double window =
                std::pow(std::cos(std::numbers::pi / 2 *
                                  std::clamp(x / static_cast<double>(half), -1.0, 1.0)),
                         2);
            exact[i] = Sinc(cutoff * x) * window;
            sum += exact[i];
        }
        for (std::size_t i = 0; i < taps; ++i) row[i] = static_cast<float>(exact[i] / sum);
    }
    // Silence in front, so that the first output stands where the first input does.
    input.assign((half - 1) * frame_samples, 0.0f);
    position = 0;
}

void SoundResampler::Read(SoundSource& source, float* stereo, std::size_t frames) {
    if (frames == 0) return;
    const std::size_t have = input.size() / frame_samples;
    const std::size_t need = (position + (frames - 1) * step) / phases + taps;
    if (need > have) {
        input.resize(need * frame_samples);
        source.Read(input.data() + have * frame_samples, need - have);
    }
    for (std::size_t frame = 0; frame < frames; ++frame, position += step) {
        const float* const from = input.data() + position / phases * frame_samples;
        const float* const row = weights.data() + position % phases * taps;
        float left = 0;
        float right = 0;
        for (std::size_t i = 0; i < taps; ++i) {
            left += row[i] * from[i * frame_samples];
            right += row[i] * from[i * frame_samples + 1];
        }
        *stereo++ = left;
        *stereo++ = right;
    }
    const std::size_t done = std::min(position / phases, input.size() / frame_samples);
    input.erase(input.begin(), input.begin() + static_cast<std::ptrdiff_t>(done * frame_samples));
    position -= done * phases;
}

}  // namespace studio

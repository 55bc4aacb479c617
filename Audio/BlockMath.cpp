#include "Audio/BlockMath.h"

#include <algorithm>
#include <cmath>

#include "Audio/BlockMathVectors.h"

namespace Vimbrel {

namespace {

void Add(std::int16_t* mix, const std::int16_t* block, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        mix[i] = static_cast<std::int16_t>(
            std::clamp<std::int32_t>(mix[i] + block[i], INT16_MIN, INT16_MAX));
    }
}

void Scale(std::int16_t* samples, std::size_t count, std::int32_t percent) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t product =
            static_cast<std::uint32_t>(samples[i]) * static_cast<std::uint32_t>(percent);
        samples[i] = static_cast<std::int16_t>(static_cast<std::int32_t>(product) / 100);
    }
}

constexpr float full_scale = 32'768.0F;

void ToFloats(const std::int16_t* samples, std::size_t count, float* floats) {
    for (std::size_t i = 0; i < count; ++i) floats[i] = samples[i] / full_scale;
}

void ToSamples(const float* floats, std::size_t count, std::int16_t* samples) {
    for (std::size_t i = 0; i < count; ++i) {
        const float sample = floats[i] * full_scale;
        const float limited = sample > INT16_MIN ? std::min<float>(sample, INT16_MAX) : INT16_MIN;
        samples[i] = static_cast<std::int16_t>(std::lrint(limited));
    }
}

struct Runnable {
    const BlockMath* variants[max_block_math_vectors + 1];
    std::size_t count = 0;

    Runnable() {
        for (const BlockMathVectors& compiled : CompiledBlockMathVectors()) {
            if (compiled.runs_here()) variants[count++] = compiled.math;
        }
        variants[count++] = &plain_block_math;
    }
};

}  // namespace

constexpr BlockMath plain_block_math = {"plain", Add, Scale, ToFloats, ToSamples};

std::span<const BlockMath* const> RunnableBlockMath() {
    static const Runnable runnable;
    return {runnable.variants, runnable.count};
}

const BlockMath& SelectedBlockMath() { return *RunnableBlockMath().front(); }

}  // namespace Vimbrel

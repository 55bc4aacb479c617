// Arithmetic on samples of 16 bits: plain loops, and the same for several processors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Vimbrel {

struct BlockMath {
    const char* name;
    // mix[i] + block[i], clipped to 16 bits.
    void (*add)(std::int16_t* mix, const std::int16_t* block, std::size_t count);
    // samples[i] * percent / 100 in 32 bits, truncated towards zero. A product or a result that
    // does not fit wraps.
    void (*scale)(std::int16_t* samples, std::size_t count, std::int32_t percent);
    // floats[i] = samples[i] / 32768.
    void (*to_floats)(const std::int16_t* samples, std::size_t count, float* floats);
    // samples[i] = floats[i] * 32768, clipped, and rounded to the nearest, of two to the even one.
    // What is not a number is the least one.
    void (*to_samples)(const float* floats, std::size_t count, std::int16_t* samples);
};

// The oracle of the others.
extern const BlockMath plain_block_math;

// What is compiled in and runs on this processor, the fastest first and the plain loop last.
std::span<const BlockMath* const> RunnableBlockMath();

// The fastest.
const BlockMath& SelectedBlockMath();

}  // namespace Vimbrel

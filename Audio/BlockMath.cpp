#include "Audio/BlockMath.h"

#include <algorithm>

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

constexpr BlockMath plain_block_math = {"plain", Add, Scale};

std::span<const BlockMath* const> RunnableBlockMath() {
    static const Runnable runnable;
    return {runnable.variants, runnable.count};
}

const BlockMath& SelectedBlockMath() { return *RunnableBlockMath().front(); }

}  // namespace Vimbrel

// The arithmetic on samples, compiled for several processors from one source.
#pragma once

#include <cstddef>
#include <span>

#include "Audio/BlockMath.h"

namespace Vimbrel {

inline constexpr std::size_t max_block_math_vectors = 3;

struct BlockMathVectors {
    const BlockMath* math;
    bool (*runs_here)();
};

// The fastest first.
std::span<const BlockMathVectors> CompiledBlockMathVectors();

}  // namespace Vimbrel

// The vector variants, compiled for several processors from one source.
#pragma once

#include <cstddef>
#include <span>

#include "pixel/Kernels.h"

namespace Vimbrel::pixel {

inline constexpr std::size_t max_vector_kernels = 4;

struct VectorKernels {
    const Kernels* kernels;
    bool (*runs_here)();
};

// The fastest first.
std::span<const VectorKernels> CompiledVectorKernels();

}  // namespace Vimbrel::pixel

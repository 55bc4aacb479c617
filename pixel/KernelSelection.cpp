#include "pixel/KernelSelection.h"

#include <atomic>
#include <cstdlib>

#include "pixel/reference/ReferenceKernels.h"
#include "pixel/vector/VectorKernels.h"

namespace Vimbrel {
namespace pixel {
namespace {

constinit std::atomic<const Kernels*> selected{&reference_kernels};

struct Runnable {
    const Kernels* kernels[max_vector_kernels + 1];
    std::size_t count = 0;

    Runnable() {
        for (const VectorKernels& variant : CompiledVectorKernels()) {
            if (variant.runs_here()) kernels[count++] = variant.kernels;
        }
        kernels[count++] = &reference_kernels;
    }
};

bool Names(std::string_view targets, std::string_view name) {
    while (!targets.empty()) {
        const std::size_t comma = targets.find(',');
        if (targets.substr(0, comma) == name) return true;
        if (comma == std::string_view::npos) return false;
        targets.remove_prefix(comma + 1);
    }
    return false;
}

}  // namespace

std::span<const Kernels* const> RunnableKernels() {
    static const Runnable runnable;
    return {runnable.kernels, runnable.count};
}

const Kernels& FastestKernels(std::string_view targets) {
    for (const Kernels* kernels : RunnableKernels()) {
        if (targets.empty() || Names(targets, kernels->name)) return *kernels;
    }
    return reference_kernels;
}

void SelectKernels(const Kernels& kernels) { selected.store(&kernels, std::memory_order_release); }

const Kernels& SelectedKernels() { return *selected.load(std::memory_order_acquire); }

}  // namespace pixel

void InitializePixelOperations() {
    const char* targets = std::getenv("VIMBREL_PIXEL_TARGETS");
    pixel::SelectKernels(pixel::FastestKernels(targets != nullptr ? targets : ""));
}

}  // namespace Vimbrel

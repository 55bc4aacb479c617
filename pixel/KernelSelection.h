// Which variant the operations use.
#pragma once

#include <span>
#include <string_view>

#include "pixel/Kernels.h"

namespace Vimbrel::pixel {

// The variants that are compiled in and that this processor runs, the fastest first and the
// reference last.
std::span<const Kernels* const> RunnableKernels();

// The fastest of them that `targets` names: names of variants, separated by commas. An empty list
// names all; if none of the named runs here, it is the reference.
const Kernels& FastestKernels(std::string_view targets);

// The choice is of the whole process. Calls that are under way end with the variant they began
// with.
void SelectKernels(const Kernels& kernels);
const Kernels& SelectedKernels();

}  // namespace Vimbrel::pixel

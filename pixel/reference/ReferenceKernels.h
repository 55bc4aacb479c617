// The formulas, one pixel at a time: what runs where no vector variant may, and what they are
// tested against.
#pragma once

#include "pixel/Kernels.h"

namespace Vimbrel::pixel {

extern const Kernels reference_kernels;

}  // namespace Vimbrel::pixel

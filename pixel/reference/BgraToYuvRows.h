// The conversion into YUV, a pixel at a time.
#pragma once

#include "pixel/Kernels.h"

namespace Vimbrel::pixel {

void ReferenceBgraToYuvRows(const BgraRowPair& rows, const YuvWeights& weights);

}  // namespace Vimbrel::pixel

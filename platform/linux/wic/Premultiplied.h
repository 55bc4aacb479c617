// Single pixels of premultiplied BGRA.
#pragma once

#include <algorithm>
#include <cstdint>

namespace Vimbrel {

// The colour that `value` was before it was multiplied with `alpha`, which is not 0.
inline int UndoPremultiply(int value, int alpha) {
    return alpha == 255 ? value : std::min(255, (value * 255 + alpha / 2) / alpha);
}

}  // namespace Vimbrel

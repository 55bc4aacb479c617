// Screens and windows have BGRA pixels.
#pragma once

#include <cstdint>

namespace Vimbrel {

constexpr std::int64_t pixel_size = 4;  // bytes

}  // namespace Vimbrel

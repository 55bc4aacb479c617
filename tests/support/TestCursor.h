// Pointers of known shape.
#pragma once

#include <cstdint>
#include <vector>

namespace Vimbrel::test {

// Shows `pixels`, premultiplied 0xAARRGGBB, wherever no window has a pointer of its own.
void SetPointerShape(int width, int height, int hot_x, int hot_y,
                     const std::vector<std::uint32_t>& pixels);

}  // namespace Vimbrel::test

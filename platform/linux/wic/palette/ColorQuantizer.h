// The best few colours for a picture.
#pragma once

#include <wincodec.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Vimbrel {

// At most `count` opaque colours (1 to 256) for premultiplied BGRA pixels. With `straight` colours
// count as they are without their alpha, and pixels below half opacity do not count. Pictures of no
// more than `count` colours get exactly those.
std::vector<WICColor> QuantizeColors(const std::uint8_t* pixels, std::size_t pixel_count,
                                     UINT count, bool straight);

}  // namespace Vimbrel

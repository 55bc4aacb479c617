// Scaling of pixels in memory.
#pragma once

#include <wincodec.h>

#include <cstddef>
#include <cstdint>

namespace Vimbrel {

// One picture of premultiplied BGRA; `stride` in bytes.
struct PbgraView {
    const std::uint8_t* pixels;
    std::size_t stride;
    UINT width;
    UINT height;
};

// Writes `source` scaled to width x height; both sizes are not 0. Equal sizes are copied as they are.
HRESULT ScalePbgra(const PbgraView& source, UINT width, UINT height, WICBitmapInterpolationMode mode, std::uint8_t* pixels,
                   std::size_t stride);

}  // namespace Vimbrel

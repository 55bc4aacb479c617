// Pictures as indices into a palette.
#pragma once

#include <wincodec.h>

#include <cstddef>
#include <cstdint>

#include "platform/linux/wic/BitmapSource.h"

namespace Vimbrel {

// Writes `source`, of width x height, as the nearest colours of `palette`, with error diffusion if `diffuse`. Pixels whose
// alpha is below the threshold become the palette's transparent colour, if it has one. `stride` in bytes, at least `width`.
HRESULT RenderIndexed(BitmapSource& source, UINT width, UINT height, IWICPalette* palette, bool diffuse, double alpha_threshold_percent,
                      std::uint8_t* indices, std::size_t stride);

}  // namespace Vimbrel

// Pictures as indices into a palette.
#pragma once

#include <wincodec.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/linux/wic/BitmapSource.h"

namespace Vimbrel {

// Renders the source at width x height (linear) and writes for each pixel the index of the
// palette's nearest colour, by error diffusion if `diffuse`. With a fully transparent colour in the
// palette, pixels less opaque than the threshold take its index and others are matched by their
// colour without alpha; with none, all are matched as they look on black. `stride` in bytes.
HRESULT RenderIndexed(BitmapSource& source, UINT width, UINT height, IWICPalette* palette,
                      bool diffuse, double alpha_threshold_percent, std::uint8_t* indices,
                      std::size_t stride);

// The same for premultiplied BGRA in memory, whose rows have no gaps. 1 to 256 colours.
HRESULT MapToPalette(const std::uint8_t* pbgra, UINT width, UINT height,
                     std::span<const WICColor> colors, bool diffuse, double alpha_threshold_percent,
                     std::uint8_t* indices, std::size_t stride);

}  // namespace Vimbrel

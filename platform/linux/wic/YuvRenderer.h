// Conversion of subsampled YUV pictures at their own size.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/linux/ffmpeg/FfmpegHandles.h"

namespace Vimbrel {

// Whether `frame` is planar 8-bit YUV by BT.601 whose chroma has half the width, half the height,
// or both.
bool IsSubsampledYuv(const AVFrame& frame);

// Writes such a frame as BGRA, not multiplied with its alpha. Chroma is interpolated as the
// reference decoders do it: weights 3 and 1 along each subsampled axis, in full range with
// libjpeg's rounding and matrix, else with libwebp's.
void RenderSubsampledYuv(const AVFrame& frame, std::uint8_t* pixels, std::size_t stride);

}  // namespace Vimbrel

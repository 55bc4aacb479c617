// Conversion and scaling of FFmpeg's pictures.
#pragma once

#include <wincodec.h>

#include <cstddef>
#include <cstdint>

#include "platform/linux/ffmpeg/FfmpegHandles.h"

namespace Vimbrel {

// Writes `frame`, scaled to width x height, as BGRA; where it has alpha its colours are already
// multiplied. The buffer may have any alignment and any stride from width * 4 on; nothing but the
// pixels is written.
HRESULT RenderFrame(const AVFrame& frame, UINT width, UINT height, WICBitmapInterpolationMode mode,
                    std::uint8_t* pixels, std::size_t stride);

// An empty picture, aligned for vector code. Null if there is not the memory.
FfmpegPtr<AVFrame> AllocateBgra(UINT width, UINT height);

}  // namespace Vimbrel

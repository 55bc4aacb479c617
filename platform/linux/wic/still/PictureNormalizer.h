// A decoded picture in the form that scaling needs.
#pragma once

#include <winerror.h>

#include "platform/linux/ffmpeg/FfmpegHandles.h"
#include "platform/linux/wic/still/StillLayout.h"

namespace Vimbrel {

// Brings `frame` to at most 8 bits a sample where it is not YUV, and colours that are multiplied
// with alpha, so that scaling does not bring forth the colours of transparent pixels. Works in the
// frame's own memory wherever the pixel format allows it: the picture is the largest thing there
// is.
HRESULT NormalizePicture(FfmpegPtr<AVFrame>& frame, const StillLayout& layout);

}  // namespace Vimbrel

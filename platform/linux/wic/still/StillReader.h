// A still's file, and the decoding of it.
#pragma once

#include <string>

#include "platform/linux/ffmpeg/FfmpegHandles.h"
#include "platform/linux/wic/still/StillLayout.h"

namespace Vimbrel {

// Reads the whole file, once its beginning shows a known kind and its layout is sound.
HRESULT ReadStillFile(const std::string& path, StillLayout* layout, FfmpegPtr<AVPacket>* file);

// Decodes page 0, normalized.
HRESULT DecodeStill(const StillLayout& layout, AVPacket* file, FfmpegPtr<AVFrame>* picture);

}  // namespace Vimbrel

// Frames on their way from memory to an encoder's device.
#pragma once

#include <winerror.h>

#include "platform/linux/codec/HardwareEncoders.h"
#include "platform/linux/ffmpeg/FfmpegHandles.h"

namespace Vimbrel {

class HardwareUpload {
public:
    // Before the context is opened. E_FAIL without the hardware's device file.
    HRESULT Open(AVCodecContext& context, const HardwareEncoder& hardware);
    // Replaces `frame` with the one that the encoder takes: itself, or a copy on the device that is
    // good until the next call.
    HRESULT Upload(const AVCodecContext& context, AVFrame*& frame);

private:
    // Null for encoders that take frames from memory.
    FfmpegPtr<AVBufferRef> device_;
    FfmpegPtr<AVFrame> uploaded_;
};

}  // namespace Vimbrel

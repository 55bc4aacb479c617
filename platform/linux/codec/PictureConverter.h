// BGRA frames into the frames that an encoder takes.
#pragma once

#include <winerror.h>

#include <cstdint>

#include "pixel/BgraToYuv.h"
#include "platform/linux/ffmpeg/FfmpegHandles.h"

namespace Vimbrel {

class PictureConverter {
public:
    // The output is planar or semi-planar 4:2:0.
    HRESULT Open(unsigned in_width, unsigned in_height, unsigned out_width, unsigned out_height,
                 AVPixelFormat format);
    YuvMatrix Matrix() const { return matrix_; }
    // A frame that is good until the next call; users that keep a reference to it are respected.
    // Null if there is no memory.
    AVFrame* Convert(const std::uint8_t* pixels);
    // The last converted picture.
    AVFrame* Last() { return frame_.get(); }

private:
    bool plain_ = false;  // not scaled
    unsigned in_width_ = 0;
    unsigned in_height_ = 0;
    YuvMatrix matrix_ = YuvMatrix::bt601;
    FfmpegPtr<SwsContext> scaler_;
    FfmpegPtr<AVFrame> frame_;
};

}  // namespace Vimbrel

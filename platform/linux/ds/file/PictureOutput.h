// Decoded pictures in a form that the video sink shows with the right colours.
#pragma once

#include <vector>

#include "filters/MediaType.h"
#include "platform/linux/ffmpeg/FfmpegHandles.h"

namespace Vimbrel {

// The sink has one fixed matrix per format and takes the width as the step of planar rows, so that
// planes serve only pictures that fit both; all others become RGB32.
struct PictureLayout {
    enum class Form { nv12, yv12, rgb32 };

    Form form = Form::rgb32;
    int width = 0;  // as it is shown
    int height = 0;
    int rotation = 0;  // clockwise

    bool operator==(const PictureLayout&) const = default;
    LONG Bytes() const;
    CMediaType Type(REFERENCE_TIME frame_time) const;
};

// What is known of a picture before or after it is decoded.
struct PictureColors {
    AVPixelFormat format = AV_PIX_FMT_NONE;
    AVColorSpace space = AVCOL_SPC_UNSPECIFIED;
    AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
};

class PictureOutput {
public:
    static PictureLayout Choose(const PictureColors& colors, int width, int height, int rotation);

    // Writes `layout.Bytes()` bytes.
    HRESULT Write(const AVFrame& frame, const PictureLayout& layout, std::uint8_t* target);

private:
    HRESULT Prepare(const AVFrame& frame);

    FfmpegPtr<SwsContext> scaler_;
    PictureColors colors_;  // of the scaler
    int width_ = 0;
    int height_ = 0;
    std::vector<std::uint32_t> scratch_;  // a picture with padded rows, or before it is turned
};

}  // namespace Vimbrel

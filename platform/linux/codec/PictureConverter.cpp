#include "platform/linux/codec/PictureConverter.h"

extern "C" {
#include <libavutil/opt.h>
}

#include "pixel/PixelOperations.h"
#include "platform/linux/ffmpeg/FfmpegError.h"

namespace Vimbrel {

HRESULT PictureConverter::Open(unsigned in_width, unsigned in_height, unsigned out_width,
                               unsigned out_height, AVPixelFormat format) {
    in_width_ = in_width;
    in_height_ = in_height;
    matrix_ = MatrixForSize(out_width, out_height);
    plain_ = (format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_NV12) && in_width == out_width &&
             in_height == out_height;
    frame_.reset(av_frame_alloc());
    if (!frame_) return E_OUTOFMEMORY;
    frame_->width = static_cast<int>(out_width);
    frame_->height = static_cast<int>(out_height);
    frame_->format = format;
    if (plain_) {
        InitializePixelOperations();
        return S_OK;
    }

    scaler_.reset(sws_alloc_context());
    if (!scaler_) return E_OUTOFMEMORY;
    av_opt_set_int(scaler_.get(), "srcw", static_cast<int>(in_width), 0);
    av_opt_set_int(scaler_.get(), "srch", static_cast<int>(in_height), 0);
    // The fourth byte is no alpha.
    av_opt_set_int(scaler_.get(), "src_format", AV_PIX_FMT_BGR0, 0);
    av_opt_set_int(scaler_.get(), "dstw", frame_->width, 0);
    av_opt_set_int(scaler_.get(), "dsth", frame_->height, 0);
    av_opt_set_int(scaler_.get(), "dst_format", format, 0);
    av_opt_set_int(scaler_.get(), "sws_flags", SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP,
                   0);
    if (const int error = sws_init_context(scaler_.get(), nullptr, nullptr); error < 0) {
        return ResultFromFfmpeg(error, "sws_init_context", FfmpegUse::encode);
    }
    const int* coefficients =
        sws_getCoefficients(matrix_ == YuvMatrix::bt709 ? SWS_CS_ITU709 : SWS_CS_ITU601);
    sws_setColorspaceDetails(scaler_.get(), coefficients, 1, coefficients, 0, 0, 1 << 16, 1 << 16);
    return S_OK;
}

AVFrame* PictureConverter::Convert(const std::uint8_t* pixels) {
    // A new buffer only if the encoder still holds the former.
    if (!frame_->buf[0] || !av_frame_is_writable(frame_.get())) {
        const int width = frame_->width;
        const int height = frame_->height;
        const int format = frame_->format;
        av_frame_unref(frame_.get());
        frame_->width = width;
        frame_->height = height;
        frame_->format = format;
        if (av_frame_get_buffer(frame_.get(), 0) < 0) return nullptr;
    }
    if (plain_) {
        const YuvPlanes planes = {{frame_->data[0], frame_->data[1], frame_->data[2]},
                                  {frame_->linesize[0], frame_->linesize[1], frame_->linesize[2]}};
        ConvertBgraToYuv(pixels, in_width_, in_height_, matrix_, planes);
    } else {
        const std::uint8_t* source[4] = {pixels};
        const int stride[4] = {static_cast<int>(in_width_ * 4)};
        sws_scale(scaler_.get(), source, stride, 0, static_cast<int>(in_height_), frame_->data,
                  frame_->linesize);
    }
    return frame_.get();
}

}  // namespace Vimbrel

#include "platform/linux/ds/file/PictureOutput.h"

#include <cstring>

#include "platform/linux/ffmpeg/FfmpegError.h"
#include "platform/linux/ffmpeg/FfmpegLog.h"
#include "platform/linux/ffmpeg/FullRange.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace Vimbrel {

namespace {

// High pictures without a mark are meant for the newer screens.
constexpr int high_definition = 720;
// The scaler writes so many pixels at a time. It leaves the last ones of a row out, or writes
// behind the row, when the step has no room for them.
constexpr int most_at_once = 16;

bool IsRgb(AVPixelFormat format) {
    const AVPixFmtDescriptor* const known = av_pix_fmt_desc_get(format);
    return known && (known->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
}

AVColorSpace SpaceOf(const PictureColors& colors, int height) {
    if (colors.space != AVCOL_SPC_UNSPECIFIED && colors.space != AVCOL_SPC_RGB) return colors.space;
    return height < high_definition ? AVCOL_SPC_SMPTE170M : AVCOL_SPC_BT709;
}

bool IsFull(const PictureColors& colors) {
    return colors.range == AVCOL_RANGE_JPEG || WithoutRange(colors.format) != colors.format;
}

void CopyPlane(std::uint8_t* target, const std::uint8_t* source, int step, int width, int rows) {
    av_image_copy_plane(target, width, source, step, width, rows);
}

// Clockwise. The step counts pixels.
void Turn(const std::uint32_t* source, int step, int width, int height, int rotation,
          std::uint32_t* target) {
    for (int y = 0; y < height; ++y, source += step) {
        for (int x = 0; x < width; ++x) {
            const std::size_t to =
                rotation == 180  ? static_cast<std::size_t>(height - 1 - y) * width + width - 1 - x
                : rotation == 90 ? static_cast<std::size_t>(x) * height + height - 1 - y
                                 : static_cast<std::size_t>(width - 1 - x) * height + y;
            target[to] = source[x];
        }
    }
}

}  // namespace

LONG PictureLayout::Bytes() const {
    return form == Form::rgb32 ? width * height * 4 : width * height * 3 / 2;
}

CMediaType PictureLayout::Type(REFERENCE_TIME frame_time) const {
    CMediaType type;
    type.majortype = MEDIATYPE_Video;
    type.subtype = form == Form::nv12   ? MEDIASUBTYPE_NV12
                   : form == Form::yv12 ? MEDIASUBTYPE_YV12
                                        : MEDIASUBTYPE_RGB32;
    type.bFixedSizeSamples = TRUE;
    type.lSampleSize = static_cast<ULONG>(Bytes());
    VIDEOINFOHEADER info{};
    // The sink divides by it; pictures of unknown rate count as 25 per second.
    info.AvgTimePerFrame = frame_time > 0 ? frame_time : 400'000;
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = form == Form::rgb32 ? -height : height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = form == Form::rgb32 ? 32 : 12;
    info.bmiHeader.biCompression = form == Form::rgb32 ? BI_RGB : type.subtype.Data1;
    info.bmiHeader.biSizeImage = static_cast<DWORD>(Bytes());
    type.SetFormat(FORMAT_VideoInfo, &info, sizeof info);
    return type;
}

PictureLayout PictureOutput::Choose(const PictureColors& colors, int width, int height,
                                    int rotation) {
    const AVColorSpace space = SpaceOf(colors, height);
    const bool matrix = space == AVCOL_SPC_SMPTE170M || space == AVCOL_SPC_BT470BG;
    const bool planes = colors.format == AV_PIX_FMT_YUV420P || colors.format == AV_PIX_FMT_NV12;
    PictureLayout layout{PictureLayout::Form::rgb32, width, height, rotation};
    if (rotation == 90 || rotation == 270) std::swap(layout.width, layout.height);
    if (planes && matrix && !IsFull(colors) && rotation == 0 && width % 2 == 0 && height % 2 == 0)
        layout.form = colors.format == AV_PIX_FMT_NV12 ? PictureLayout::Form::nv12
                                                       : PictureLayout::Form::yv12;
    return layout;
}

HRESULT PictureOutput::Prepare(const AVFrame& frame) {
    const PictureColors colors{static_cast<AVPixelFormat>(frame.format), frame.colorspace,
                               frame.color_range};
    const bool same = scaler_ && colors.format == colors_.format && colors.space == colors_.space &&
                      colors.range == colors_.range && frame.width == width_ &&
                      frame.height == height_;
    if (same) return S_OK;
    const FfmpegLogScope log;
    scaler_.reset(sws_getContext(frame.width, frame.height, WithoutRange(colors.format),
                                 frame.width, frame.height, AV_PIX_FMT_BGR0, SWS_BICUBIC, nullptr,
                                 nullptr, nullptr));
    if (!scaler_) return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
    if (!IsRgb(colors.format)) {
        const int* const matrix = sws_getCoefficients(SpaceOf(colors, frame.height));
        sws_setColorspaceDetails(scaler_.get(), matrix, IsFull(colors) ? 1 : 0, matrix, 1, 0,
                                 1 << 16, 1 << 16);
    }
    colors_ = colors;
    width_ = frame.width;
    height_ = frame.height;
    return S_OK;
}

HRESULT PictureOutput::Write(const AVFrame& frame, const PictureLayout& layout,
                             std::uint8_t* target) {
    const int width = frame.width;
    const int height = frame.height;
    if (layout.form != PictureLayout::Form::rgb32) {
        CopyPlane(target, frame.data[0], frame.linesize[0], width, height);
        target += static_cast<std::size_t>(width) * height;
        if (layout.form == PictureLayout::Form::nv12) {
            CopyPlane(target, frame.data[1], frame.linesize[1], width, height / 2);
            return S_OK;
        }
        const std::size_t plane = static_cast<std::size_t>(width / 2) * (height / 2);
        CopyPlane(target, frame.data[2], frame.linesize[2], width / 2, height / 2);
        CopyPlane(target + plane, frame.data[1], frame.linesize[1], width / 2, height / 2);
        return S_OK;
    }
    const HRESULT hr = Prepare(frame);
    if (FAILED(hr)) return hr;
    const int step = (width + most_at_once - 1) / most_at_once * most_at_once;
    const bool direct = layout.rotation == 0 && step == width;
    if (!direct) scratch_.resize(static_cast<std::size_t>(step) * static_cast<std::size_t>(height));
    std::uint8_t* const planes[] = {direct ? target
                                           : reinterpret_cast<std::uint8_t*>(scratch_.data())};
    const int steps[] = {step * 4};
    const int rows = sws_scale(scaler_.get(), frame.data, frame.linesize, 0, height, planes, steps);
    if (rows < 0) return ResultFromFfmpeg(rows, "convert a picture");
    if (layout.rotation != 0) {
        Turn(scratch_.data(), step, width, height, layout.rotation,
             reinterpret_cast<std::uint32_t*>(target));
    } else if (!direct) {
        av_image_copy_plane(target, width * 4, planes[0], step * 4, width * 4, height);
    }
    return S_OK;
}

}  // namespace Vimbrel

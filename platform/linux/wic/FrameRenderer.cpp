#include "platform/linux/wic/FrameRenderer.h"

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <climits>
#include <cstring>
#include <thread>

#include "platform/linux/ffmpeg/FfmpegError.h"
#include "platform/linux/ffmpeg/FullRange.h"
#include "platform/linux/wic/YuvRenderer.h"
#include "platform/linux/wic/still/StillLayout.h"

namespace Vimbrel {

namespace {

// Rows of a multiple of this many bytes are written without a step beyond their end.
constexpr std::size_t vector_bytes = 64;
// Beyond this many source pixels a filter would have more taps than libswscale takes.
constexpr UINT largest_reduction = 32;
// Rows made at a time when they cannot go to the caller's buffer directly.
constexpr int band_bytes = 1 << 18;
// A second thread must have this many source pixels to itself to be worth its start.
constexpr std::uint64_t pixels_per_thread = 1 << 20;
constexpr std::uint64_t most_threads = 4;

struct SourceFormat {
    AVPixelFormat format;
    bool full_range;
    int matrix;
};

bool IsYuv(AVPixelFormat format) {
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
    return descriptor && !(descriptor->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) &&
           descriptor->nb_components >= 3;
}

bool HasAlpha(const AVFrame& frame) {
    const AVPixFmtDescriptor* descriptor =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    return descriptor && (descriptor->flags & (AV_PIX_FMT_FLAG_ALPHA | AV_PIX_FMT_FLAG_PAL));
}

SourceFormat DescribeSource(const AVFrame& frame) {
    const auto format = static_cast<AVPixelFormat>(frame.format);
    SourceFormat source{WithoutRange(format), true, SWS_CS_ITU601};
    if (!IsYuv(format)) return source;
    source.full_range = frame.color_range == AVCOL_RANGE_JPEG ||
                        (source.format != format && frame.color_range != AVCOL_RANGE_MPEG);
    if (frame.colorspace != AVCOL_SPC_UNSPECIFIED && frame.colorspace != AVCOL_SPC_RGB)
        source.matrix = frame.colorspace;
    return source;
}

int Filter(WICBitmapInterpolationMode mode, bool scaled) {
    // Only the chroma of a YUV picture is scaled then.
    if (!scaled) return SWS_BILINEAR;
    switch (mode) {
        case WICBitmapInterpolationModeNearestNeighbor:
            return SWS_POINT;
        case WICBitmapInterpolationModeLinear:
            return SWS_BILINEAR;
        case WICBitmapInterpolationModeFant:
            return SWS_AREA;
        case WICBitmapInterpolationModeCubic:
        default:
            return SWS_BICUBIC;
    }
}

// libswscale's messages have no context that could be quieted, so what it would complain of does
// not reach it.
FfmpegPtr<SwsContext> MakeScaler(const AVFrame& frame, UINT width, UINT height,
                                 WICBitmapInterpolationMode mode) {
    const SourceFormat source = DescribeSource(frame);
    const bool scaled =
        static_cast<UINT>(frame.width) != width || static_cast<UINT>(frame.height) != height;
    const std::uint64_t source_pixels =
        static_cast<std::uint64_t>(frame.width) * static_cast<std::uint64_t>(frame.height);
    const std::uint64_t threads = std::min<std::uint64_t>(
        {std::max(source_pixels, std::uint64_t{width} * height) / pixels_per_thread,
         std::thread::hardware_concurrency(), most_threads});
    FfmpegPtr<SwsContext> scaler(sws_alloc_context());
    if (!scaler) return nullptr;
    av_opt_set_int(scaler.get(), "srcw", frame.width, 0);
    av_opt_set_int(scaler.get(), "srch", frame.height, 0);
    av_opt_set_int(scaler.get(), "src_format", source.format, 0);
    av_opt_set_int(scaler.get(), "dstw", width, 0);
    av_opt_set_int(scaler.get(), "dsth", height, 0);
    av_opt_set_int(scaler.get(), "dst_format", AV_PIX_FMT_BGRA, 0);
    av_opt_set_int(scaler.get(), "src_range", source.full_range, 0);
    av_opt_set_int(scaler.get(), "dst_range", 1, 0);
    // Without the two for chroma, colours are taken from and given to two pixels together.
    av_opt_set_int(
        scaler.get(), "sws_flags",
        Filter(mode, scaled) | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP, 0);
    av_opt_set_int(scaler.get(), "threads",
                   static_cast<std::int64_t>(std::max<std::uint64_t>(threads, 1)), 0);
    // The matrix is set after this call by its design.
    if (sws_init_context(scaler.get(), nullptr, nullptr) < 0) return nullptr;
    sws_setColorspaceDetails(scaler.get(), sws_getCoefficients(source.matrix), source.full_range,
                             sws_getCoefficients(SWS_CS_ITU601), 1, 0, 1 << 16, 1 << 16);
    return scaler;
}

// A frame that stands for memory of others.
FfmpegPtr<AVFrame> Wrap(UINT width, UINT height, std::uint8_t* pixels, std::size_t stride) {
    FfmpegPtr<AVFrame> frame(av_frame_alloc());
    if (!frame) return nullptr;
    frame->format = AV_PIX_FMT_BGRA;
    frame->width = static_cast<int>(width);
    frame->height = static_cast<int>(height);
    frame->data[0] = pixels;
    frame->linesize[0] = static_cast<int>(stride);
    frame->buf[0] = av_buffer_create(
        pixels, 1, [](void*, std::uint8_t*) {}, nullptr, 0);
    return frame->buf[0] ? std::move(frame) : nullptr;
}

// Filters round each channel for itself, so a colour can end up above its alpha.
void ClampToAlpha(std::uint8_t* row, UINT width) {
    for (UINT x = 0; x < width; ++x, row += 4) {
        const std::uint8_t alpha = row[3];
        for (int c = 0; c < 3; ++c) row[c] = std::min(row[c], alpha);
    }
}

// One part of the destination, rows `top` to `top + rows`, whose row 0 would stand at `origin`.
int ScaleBand(SwsContext* scaler, const AVFrame& frame, AVFrame* target, int top, int rows) {
    int error = sws_frame_start(scaler, target, &frame);
    if (error < 0) return error;
    error = sws_send_slice(scaler, 0, static_cast<unsigned>(frame.height));
    if (error >= 0)
        error = sws_receive_slice(scaler, static_cast<unsigned>(top), static_cast<unsigned>(rows));
    sws_frame_end(scaler);
    return error;
}

HRESULT ScaleFrame(const AVFrame& frame, UINT width, UINT height, WICBitmapInterpolationMode mode,
                   std::uint8_t* pixels, std::size_t stride) {
    const FfmpegPtr<SwsContext> scaler = MakeScaler(frame, width, height, mode);
    if (!scaler) return ResultFromFfmpeg(AVERROR(ENOMEM), "setting up the scaler");
    const bool clamp = HasAlpha(frame) && (static_cast<UINT>(frame.width) != width ||
                                           static_cast<UINT>(frame.height) != height);
    const std::size_t row_bytes = std::size_t{width} * 4;
    // The scaler compares the source's format with its own.
    FfmpegPtr<AVFrame> source(av_frame_clone(&frame));
    if (!source) return E_OUTOFMEMORY;
    source->format = DescribeSource(frame).format;

    const bool direct = row_bytes % vector_bytes == 0 && stride % 16 == 0 &&
                        reinterpret_cast<std::uintptr_t>(pixels) % 16 == 0 && stride <= INT_MAX;
    if (direct) {
        const FfmpegPtr<AVFrame> target = Wrap(width, height, pixels, stride);
        if (!target) return E_OUTOFMEMORY;
        const int error =
            ScaleBand(scaler.get(), *source, target.get(), 0, static_cast<int>(height));
        if (error < 0) return ResultFromFfmpeg(error, "scaling");
        if (clamp) {
            for (UINT y = 0; y < height; ++y) ClampToAlpha(pixels + stride * y, width);
        }
        return S_OK;
    }

    const std::size_t band_stride =
        (row_bytes + vector_bytes - 1) / vector_bytes * vector_bytes + vector_bytes;
    const auto alignment = static_cast<int>(sws_receive_slice_alignment(scaler.get()));
    const int band_rows =
        std::max(static_cast<int>(band_bytes / band_stride) / alignment, 8) * alignment;
    const FfmpegPtr<AVFrame> band =
        AllocateBgra(static_cast<UINT>(band_stride / 4), static_cast<UINT>(band_rows));
    if (!band) return E_OUTOFMEMORY;
    const int band_linesize = band->linesize[0];
    for (int top = 0; top < static_cast<int>(height); top += band_rows) {
        const int rows = std::min(band_rows, static_cast<int>(height) - top);
        // The scaler counts rows from the picture's top, which the band has no memory for.
        const std::uintptr_t origin =
            reinterpret_cast<std::uintptr_t>(band->data[0]) -
            static_cast<std::uintptr_t>(band_linesize) * static_cast<std::uintptr_t>(top);
        const FfmpegPtr<AVFrame> target =
            Wrap(width, height, reinterpret_cast<std::uint8_t*>(origin),
                 static_cast<std::size_t>(band_linesize));
        if (!target) return E_OUTOFMEMORY;
        const int error = ScaleBand(scaler.get(), *source, target.get(), top, rows);
        if (error < 0) return ResultFromFfmpeg(error, "scaling");
        for (int y = 0; y < rows; ++y) {
            std::uint8_t* row = band->data[0] + static_cast<std::ptrdiff_t>(band_linesize) * y;
            if (clamp) ClampToAlpha(row, width);
            std::memcpy(pixels + stride * static_cast<std::size_t>(top + y), row, row_bytes);
        }
    }
    return S_OK;
}

}  // namespace

FfmpegPtr<AVFrame> AllocateBgra(UINT width, UINT height) {
    if (FAILED(CheckPictureSize(width, height))) return nullptr;
    FfmpegPtr<AVFrame> frame(av_frame_alloc());
    if (!frame) return nullptr;
    frame->format = AV_PIX_FMT_BGRA;
    frame->width = static_cast<int>(width);
    frame->height = static_cast<int>(height);
    return av_frame_get_buffer(frame.get(), 0) < 0 ? nullptr : std::move(frame);
}

namespace {

// The nearest pixel as it is, which the scaling library would take through another colour space.
void CopyNearest(const AVFrame& frame, UINT width, UINT height, std::uint8_t* pixels,
                 std::size_t stride) {
    const auto nearest = [](UINT i, UINT length, int all) {
        return static_cast<std::ptrdiff_t>((std::uint64_t{i} * 2 + 1) * static_cast<unsigned>(all) /
                                           (std::uint64_t{length} * 2));
    };
    for (UINT y = 0; y < height; ++y) {
        const std::uint8_t* from =
            frame.data[0] + frame.linesize[0] * nearest(y, height, frame.height);
        for (UINT x = 0; x < width; ++x)
            std::memcpy(pixels + stride * y + std::size_t{x} * 4,
                        from + nearest(x, width, frame.width) * 4, 4);
    }
}

}  // namespace

HRESULT RenderFrame(const AVFrame& frame, UINT width, UINT height, WICBitmapInterpolationMode mode,
                    std::uint8_t* pixels, std::size_t stride) {
    if (FAILED(CheckPictureSize(width, height))) return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
    const UINT frame_width = static_cast<UINT>(frame.width);
    const UINT frame_height = static_cast<UINT>(frame.height);
    if (frame.format == AV_PIX_FMT_BGRA && frame_width == width && frame_height == height) {
        for (UINT y = 0; y < height; ++y) {
            std::memcpy(pixels + stride * y,
                        frame.data[0] + static_cast<std::ptrdiff_t>(frame.linesize[0]) * y,
                        std::size_t{width} * 4);
        }
        return S_OK;
    }
    if (frame_width == width && frame_height == height && IsSubsampledYuv(frame)) {
        RenderSubsampledYuv(frame, pixels, stride);
        return S_OK;
    }
    if (frame.format == AV_PIX_FMT_BGRA && mode == WICBitmapInterpolationModeNearestNeighbor) {
        CopyNearest(frame, width, height, pixels, stride);
        return S_OK;
    }
    if (mode != WICBitmapInterpolationModeNearestNeighbor &&
        (frame_width / largest_reduction > width || frame_height / largest_reduction > height)) {
        const auto step = [](UINT from, UINT to) {
            return from / largest_reduction > to ? from / largest_reduction : from;
        };
        const FfmpegPtr<AVFrame> between =
            AllocateBgra(step(frame_width, width), step(frame_height, height));
        if (!between) return E_OUTOFMEMORY;
        const HRESULT hr =
            ScaleFrame(frame, static_cast<UINT>(between->width), static_cast<UINT>(between->height),
                       WICBitmapInterpolationModeFant, between->data[0],
                       static_cast<std::size_t>(between->linesize[0]));
        return FAILED(hr) ? hr : RenderFrame(*between, width, height, mode, pixels, stride);
    }
    return ScaleFrame(frame, width, height, mode, pixels, stride);
}

}  // namespace Vimbrel

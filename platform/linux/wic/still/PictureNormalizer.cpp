#include "platform/linux/wic/still/PictureNormalizer.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <array>
#include <bit>
#include <utility>

#include "platform/linux/ffmpeg/FfmpegError.h"
#include "platform/linux/wic/FrameRenderer.h"

namespace Vimbrel {

namespace {

// All round to nearest.
std::uint8_t Multiply(unsigned color, unsigned alpha) {
    const unsigned product = color * alpha + 128;
    return static_cast<std::uint8_t>((product + (product >> 8)) >> 8);
}
std::uint8_t Narrow(std::uint32_t sample) {
    return static_cast<std::uint8_t>((sample * 255 + 32767) / 65535);
}
std::uint8_t MultiplyNarrow(std::uint64_t color, std::uint64_t alpha) {
    constexpr std::uint64_t divisor = std::uint64_t{65535} * 257;
    return static_cast<std::uint8_t>((color * alpha + divisor / 2) / divisor);
}

// The formats of 16 bits a sample and what they become.
AVPixelFormat NarrowFormat(AVPixelFormat format) {
    switch (format) {
        case AV_PIX_FMT_GRAY16LE:
        case AV_PIX_FMT_GRAY16BE:
            return AV_PIX_FMT_GRAY8;
        case AV_PIX_FMT_YA16LE:
        case AV_PIX_FMT_YA16BE:
            return AV_PIX_FMT_YA8;
        case AV_PIX_FMT_RGB48LE:
        case AV_PIX_FMT_RGB48BE:
            return AV_PIX_FMT_RGB24;
        case AV_PIX_FMT_BGR48LE:
        case AV_PIX_FMT_BGR48BE:
            return AV_PIX_FMT_BGR24;
        case AV_PIX_FMT_RGBA64LE:
        case AV_PIX_FMT_RGBA64BE:
            return AV_PIX_FMT_RGBA;
        case AV_PIX_FMT_GBRP16LE:
        case AV_PIX_FMT_GBRP16BE:
            return AV_PIX_FMT_GBRP;
        case AV_PIX_FMT_GBRAP16LE:
        case AV_PIX_FMT_GBRAP16BE:
            return AV_PIX_FMT_GBRAP;
        default:
            return AV_PIX_FMT_NONE;
    }
}

// The same format with its alpha left unread.
AVPixelFormat WithoutAlpha(AVPixelFormat format) {
    switch (format) {
        case AV_PIX_FMT_RGBA:
            return AV_PIX_FMT_RGB0;
        case AV_PIX_FMT_BGRA:
            return AV_PIX_FMT_BGR0;
        case AV_PIX_FMT_ARGB:
            return AV_PIX_FMT_0RGB;
        case AV_PIX_FMT_ABGR:
            return AV_PIX_FMT_0BGR;
        case AV_PIX_FMT_GBRAP:
            return AV_PIX_FMT_GBRP;
        case AV_PIX_FMT_YUVA420P:
            return AV_PIX_FMT_YUV420P;
        case AV_PIX_FMT_YUVA422P:
            return AV_PIX_FMT_YUV422P;
        case AV_PIX_FMT_YUVA444P:
            return AV_PIX_FMT_YUV444P;
        default:
            return format;
    }
}

std::uint8_t* Row(const AVFrame& frame, int plane, int y) {
    return frame.data[plane] + static_cast<std::ptrdiff_t>(frame.linesize[plane]) * y;
}

// Samples before sample, in the frame's own memory: the 8-bit sample never lies behind the one that
// is read.
void NarrowSamples(AVFrame& frame, bool big_endian, int planes, int row_samples) {
    const auto load = [big_endian](const std::uint8_t* at) {
        return static_cast<std::uint32_t>(big_endian ? at[0] << 8 | at[1] : at[1] << 8 | at[0]);
    };
    for (int plane = 0; plane < planes; ++plane) {
        for (int y = 0; y < frame.height; ++y) {
            std::uint8_t* row = Row(frame, plane, y);
            for (std::ptrdiff_t i = 0; i < row_samples; ++i) row[i] = Narrow(load(row + 2 * i));
        }
    }
}

// The same with the colours multiplied on the way, at 16 bits. `color` and `alpha` step through a
// row's samples.
void NarrowMultiplied(AVFrame& frame, bool big_endian, bool planar, int components) {
    const auto load = [big_endian](const std::uint8_t* at) {
        return static_cast<std::uint32_t>(big_endian ? at[0] << 8 | at[1] : at[1] << 8 | at[0]);
    };
    const std::ptrdiff_t step = planar ? 1 : components;
    for (int y = 0; y < frame.height; ++y) {
        std::array<std::uint8_t*, 4> rows{};
        for (int c = 0; c < components; ++c)
            rows[static_cast<std::size_t>(c)] = planar ? Row(frame, c, y) : Row(frame, 0, y);
        for (std::ptrdiff_t x = 0; x < frame.width; ++x) {
            std::array<std::uint32_t, 4> samples{};
            for (std::ptrdiff_t c = 0; c < components; ++c) {
                samples[static_cast<std::size_t>(c)] =
                    load(rows[static_cast<std::size_t>(c)] + 2 * (x * step + (planar ? 0 : c)));
            }
            const std::uint32_t alpha = samples[static_cast<std::size_t>(components - 1)];
            for (std::ptrdiff_t c = 0; c < components - 1; ++c) {
                rows[static_cast<std::size_t>(c)][x * step + (planar ? 0 : c)] =
                    MultiplyNarrow(samples[static_cast<std::size_t>(c)], alpha);
            }
            rows[static_cast<std::size_t>(components - 1)]
                [x * step + (planar ? 0 : components - 1)] = Narrow(alpha);
        }
    }
}

void NarrowFrame(AVFrame& frame, AVPixelFormat narrow, bool multiply) {
    const AVPixFmtDescriptor& descriptor =
        *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    const bool big_endian = (descriptor.flags & AV_PIX_FMT_FLAG_BE) != 0;
    const bool planar = (descriptor.flags & AV_PIX_FMT_FLAG_PLANAR) != 0;
    const int components = descriptor.nb_components;
    if (multiply && (descriptor.flags & AV_PIX_FMT_FLAG_ALPHA)) {
        NarrowMultiplied(frame, big_endian, planar, components);
    } else {
        NarrowSamples(frame, big_endian, planar ? components : 1,
                      planar ? frame.width : frame.width * components);
    }
    frame.format = narrow;
}

template <int colors, int alpha_at>
void MultiplyPacked(AVFrame& frame) {
    constexpr int first = alpha_at == 0 ? 1 : 0;
    for (int y = 0; y < frame.height; ++y) {
        std::uint8_t* pixel = Row(frame, 0, y);
        for (int x = 0; x < frame.width; ++x, pixel += colors + 1) {
            const unsigned alpha = pixel[alpha_at];
            if (alpha == 255) continue;
            for (int c = first; c < first + colors; ++c) pixel[c] = Multiply(pixel[c], alpha);
        }
    }
}

void MultiplyPlanar(AVFrame& frame) {
    for (int y = 0; y < frame.height; ++y) {
        const std::uint8_t* alpha = Row(frame, 3, y);
        for (int plane = 0; plane < 3; ++plane) {
            std::uint8_t* row = Row(frame, plane, y);
            for (int x = 0; x < frame.width; ++x) row[x] = Multiply(row[x], alpha[x]);
        }
    }
}

void MultiplyPalette(AVFrame& frame) {
    auto* colors = reinterpret_cast<std::uint32_t*>(frame.data[1]);
    for (int i = 0; i < 256; ++i) {
        const std::uint32_t color = colors[i];
        const std::uint32_t alpha = color >> 24;
        colors[i] = alpha << 24 | std::uint32_t{Multiply(color >> 16 & 255, alpha)} << 16 |
                    std::uint32_t{Multiply(color >> 8 & 255, alpha)} << 8 |
                    Multiply(color & 255, alpha);
    }
}

// Cyan, magenta, yellow and black in the planes of a YUV format with alpha become planes of RGB.
void ConvertInks(AVFrame& frame) {
    for (int y = 0; y < frame.height; ++y) {
        const std::uint8_t* black = Row(frame, 3, y);
        for (int plane = 0; plane < 3; ++plane) {
            std::uint8_t* row = Row(frame, plane, y);
            for (int x = 0; x < frame.width; ++x) row[x] = Multiply(255u - row[x], 255u - black[x]);
        }
    }
    // The planes are red, green, blue; the format wants green, blue, red.
    std::swap(frame.data[0], frame.data[1]);
    std::swap(frame.data[1], frame.data[2]);
    std::swap(frame.linesize[0], frame.linesize[1]);
    std::swap(frame.linesize[1], frame.linesize[2]);
    frame.format = AV_PIX_FMT_GBRP;
    frame.colorspace = AVCOL_SPC_RGB;
}

HRESULT MultiplyFrame(FfmpegPtr<AVFrame>& frame) {
    switch (frame->format) {
        case AV_PIX_FMT_RGBA:
        case AV_PIX_FMT_BGRA:
            MultiplyPacked<3, 3>(*frame);
            return S_OK;
        case AV_PIX_FMT_ARGB:
        case AV_PIX_FMT_ABGR:
            MultiplyPacked<3, 0>(*frame);
            return S_OK;
        case AV_PIX_FMT_YA8:
            MultiplyPacked<1, 1>(*frame);
            return S_OK;
        case AV_PIX_FMT_GBRAP:
            MultiplyPlanar(*frame);
            return S_OK;
        case AV_PIX_FMT_PAL8:
            MultiplyPalette(*frame);
            return S_OK;
        default:
            break;
    }
    // YUV cannot be multiplied as it is.
    FfmpegPtr<AVFrame> bgra =
        AllocateBgra(static_cast<UINT>(frame->width), static_cast<UINT>(frame->height));
    if (!bgra) return E_OUTOFMEMORY;
    const HRESULT hr =
        RenderFrame(*frame, static_cast<UINT>(frame->width), static_cast<UINT>(frame->height),
                    WICBitmapInterpolationModeNearestNeighbor, bgra->data[0],
                    static_cast<std::size_t>(bgra->linesize[0]));
    if (FAILED(hr)) return hr;
    MultiplyPacked<3, 3>(*bgra);
    frame = std::move(bgra);
    return S_OK;
}

}  // namespace

HRESULT NormalizePicture(FfmpegPtr<AVFrame>& frame, const StillLayout& layout) {
    const int error = av_frame_make_writable(frame.get());
    if (error < 0) return ResultFromFfmpeg(error, "making the picture writable");
    if (layout.plain_inks && frame->format == AV_PIX_FMT_YUVA444P) {
        ConvertInks(*frame);
        return S_OK;
    }
    const AVPixelFormat narrow = NarrowFormat(static_cast<AVPixelFormat>(frame->format));
    const bool multiply = !layout.opaque && !layout.premultiplied;
    if (narrow != AV_PIX_FMT_NONE) {
        NarrowFrame(*frame, narrow, multiply);
        if (layout.opaque) frame->format = WithoutAlpha(narrow);
        return S_OK;
    }
    if (layout.opaque) frame->format = WithoutAlpha(static_cast<AVPixelFormat>(frame->format));
    const AVPixFmtDescriptor* descriptor =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame->format));
    if (!descriptor) return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
    return multiply && (descriptor->flags & AV_PIX_FMT_FLAG_ALPHA) ? MultiplyFrame(frame) : S_OK;
}

}  // namespace Vimbrel

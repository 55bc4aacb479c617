#include "platform/linux/wic/YuvRenderer.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <vector>

namespace Vimbrel {

namespace {

std::uint8_t Saturated(int value) { return static_cast<std::uint8_t>(std::clamp(value, 0, 255)); }

// Of JFIF: full range, 16 fractional bits.
struct FullRange {
    static void Put(std::uint8_t* pixel, int y, int u, int v) {
        constexpr int half = 1 << 15;
        const int cb = u - 128;
        const int cr = v - 128;
        pixel[0] = Saturated(y + ((116130 * cb + half) >> 16));
        pixel[1] = Saturated(y + ((-22554 * cb - 46802 * cr + half) >> 16));
        pixel[2] = Saturated(y + ((91881 * cr + half) >> 16));
    }
};

// Of WebP: video range, products with 8 of 14 fractional bits dropped.
struct VideoRange {
    static void Put(std::uint8_t* pixel, int y, int u, int v) {
        const int luma = 19077 * y >> 8;
        pixel[0] = Saturated((luma + (33050 * u >> 8) - 17685) >> 6);
        pixel[1] = Saturated((luma - (6419 * u >> 8) - (13320 * v >> 8) + 8708) >> 6);
        pixel[2] = Saturated((luma + (26149 * v >> 8) - 14234) >> 6);
    }
};

template <class Range>
void PutRow(std::uint8_t* pixels, const std::uint8_t* y, const std::uint8_t* u,
            const std::uint8_t* v, const std::uint8_t* alpha, int width) {
    for (int x = 0; x < width; ++x, pixels += 4) {
        Range::Put(pixels, y[x], u[x], v[x]);
        pixels[3] = alpha ? alpha[x] : 255;
    }
}

// What is added to a sum of sixteenths, for the left and the right pixel of two.
struct Rounding {
    int left, right;
};

class ChromaRows {
public:
    ChromaRows(const AVFrame& frame, const AVPixFmtDescriptor& descriptor, bool full_range)
        : frame_(frame),
          half_width_(descriptor.log2_chroma_w == 1),
          half_height_(descriptor.log2_chroma_h == 1),
          full_range_(full_range),
          columns_(half_width_ ? (frame.width + 1) / 2 : frame.width),
          rows_(half_height_ ? (frame.height + 1) / 2 : frame.height),
          sums_(static_cast<std::size_t>(columns_) + 2) {}

    // The chroma of a row of pixels; `row` has room for one sample more if the width is odd.
    void Interpolate(int plane, int y, std::uint8_t* row) {
        SumRows(plane, y);
        const int* sums = sums_.data() + 1;
        if (!half_width_) {
            const int bias = 4 * (full_range_ && y % 2 == 0 ? 1 : 2);
            for (int x = 0; x < columns_; ++x)
                row[x] = static_cast<std::uint8_t>((4 * sums[x] + bias) >> 4);
            return;
        }
        const Rounding rounding = Rounds();
        for (int x = 0; x < columns_; ++x) {
            const int near = 3 * sums[x];
            row[2 * x] = static_cast<std::uint8_t>((near + sums[x - 1] + rounding.left) >> 4);
            row[2 * x + 1] = static_cast<std::uint8_t>((near + sums[x + 1] + rounding.right) >> 4);
        }
    }

private:
    const std::uint8_t* Row(int plane, int y) const {
        return frame_.data[plane] + static_cast<std::ptrdiff_t>(frame_.linesize[plane]) * y;
    }

    // libjpeg alternates the direction of its halves, so that they make no difference in the mean.
    Rounding Rounds() const {
        if (!full_range_) return {8, 8};
        return half_height_ ? Rounding{8, 7} : Rounding{4, 8};
    }

    // Quarters of the chroma at the row's height, with the borders' samples repeated.
    void SumRows(int plane, int y) {
        int* sums = sums_.data() + 1;
        if (half_height_) {
            const int at = y / 2;
            const int other = std::clamp(y % 2 == 0 ? at - 1 : at + 1, 0, rows_ - 1);
            const std::uint8_t* near = Row(plane, at);
            const std::uint8_t* far = Row(plane, other);
            for (int x = 0; x < columns_; ++x) sums[x] = 3 * near[x] + far[x];
        } else {
            const std::uint8_t* row = Row(plane, y);
            for (int x = 0; x < columns_; ++x) sums[x] = 4 * row[x];
        }
        sums[-1] = sums[0];
        sums[columns_] = sums[columns_ - 1];
    }

    const AVFrame& frame_;
    const bool half_width_;
    const bool half_height_;
    const bool full_range_;
    const int columns_;
    const int rows_;
    std::vector<int> sums_;
};

const AVPixFmtDescriptor* Descriptor(const AVFrame& frame) {
    return av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
}

bool IsFullRange(const AVFrame& frame) {
    switch (frame.format) {
        case AV_PIX_FMT_YUVJ420P:
        case AV_PIX_FMT_YUVJ422P:
        case AV_PIX_FMT_YUVJ440P:
            return frame.color_range != AVCOL_RANGE_MPEG;
        default:
            return frame.color_range == AVCOL_RANGE_JPEG;
    }
}

}  // namespace

bool IsSubsampledYuv(const AVFrame& frame) {
    switch (frame.colorspace) {
        case AVCOL_SPC_UNSPECIFIED:
        case AVCOL_SPC_BT470BG:
        case AVCOL_SPC_SMPTE170M:
            break;
        default:
            return false;
    }
    switch (frame.format) {
        case AV_PIX_FMT_YUV420P:
        case AV_PIX_FMT_YUVJ420P:
        case AV_PIX_FMT_YUVA420P:
        case AV_PIX_FMT_YUV422P:
        case AV_PIX_FMT_YUVJ422P:
        case AV_PIX_FMT_YUVA422P:
        case AV_PIX_FMT_YUV440P:
        case AV_PIX_FMT_YUVJ440P:
            return true;
        default:
            return false;
    }
}

void RenderSubsampledYuv(const AVFrame& frame, std::uint8_t* pixels, std::size_t stride) {
    const AVPixFmtDescriptor& descriptor = *Descriptor(frame);
    const bool full_range = IsFullRange(frame);
    ChromaRows chroma(frame, descriptor, full_range);
    std::vector<std::uint8_t> u(static_cast<std::size_t>(frame.width) + 1);
    std::vector<std::uint8_t> v(u.size());
    const auto put = full_range ? PutRow<FullRange> : PutRow<VideoRange>;
    const auto row = [&frame](int plane, int y) {
        return frame.data[plane] + static_cast<std::ptrdiff_t>(frame.linesize[plane]) * y;
    };
    const bool alpha = (descriptor.flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    for (int y = 0; y < frame.height; ++y) {
        chroma.Interpolate(1, y, u.data());
        chroma.Interpolate(2, y, v.data());
        put(pixels + stride * static_cast<std::size_t>(y), row(0, y), u.data(), v.data(),
            alpha ? row(3, y) : nullptr, frame.width);
    }
}

}  // namespace Vimbrel

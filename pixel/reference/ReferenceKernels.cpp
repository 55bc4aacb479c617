#include "pixel/reference/ReferenceKernels.h"

#include <algorithm>
#include <cmath>

#include "pixel/Matrices.h"
#include "pixel/reference/BgraToYuvRows.h"

namespace Vimbrel::pixel {
namespace {

std::uint8_t Saturate(std::int32_t value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0, 255));
}

template <const Matrix& matrix>
struct Color {
    std::uint8_t red, green, blue;

    Color(int y, int cb_byte, int cr_byte) {
        const std::int32_t luma = matrix.luma_gain * y + matrix.luma_offset;
        const std::int32_t cb = cb_byte - 128;
        const std::int32_t cr = cr_byte - 128;
        red = Saturate((luma + matrix.red_cr * cr) >> 16);
        green = Saturate((luma + matrix.green_cb * cb + matrix.green_cr * cr) >> 16);
        blue = Saturate((luma + matrix.blue_cb * cb) >> 16);
    }
};

void Put(std::uint8_t* destination, std::uint8_t first, std::uint8_t second, std::uint8_t third,
         std::uint8_t alpha) {
    destination[0] = first;
    destination[1] = second;
    destination[2] = third;
    destination[3] = alpha;
}

template <const Matrix& matrix>
void PutBgra(std::uint8_t* destination, int y, int cb, int cr, std::uint8_t alpha) {
    const Color<matrix> color(y, cb, cr);
    Put(destination, color.blue, color.green, color.red, alpha);
}

void UyvyRow(const std::uint8_t* source, std::uint8_t* destination, std::int32_t width,
             std::uint8_t alpha) {
    std::int32_t x = 0;
    for (; x + 1 < width; x += 2, source += 4, destination += 8) {
        PutBgra<flat_matrix>(destination, source[1], source[0], source[2], alpha);
        PutBgra<flat_matrix>(destination + 4, source[3], source[0], source[2], alpha);
    }
    if (x == width) return;
    // The Cr of an odd last pixel is the previous group's, and Cb stands for it if there is none.
    // Kept: hosts compare pictures byte by byte.
    PutBgra<flat_matrix>(destination, source[1], source[0], x > 0 ? source[-2] : source[0], alpha);
}

void PutYuy2(std::uint8_t* destination, int y, int second_byte, int fourth_byte,
             std::uint8_t alpha) {
    // The chroma bytes change roles, and red and blue places: the slight colour cast of this
    // format is kept because hosts compare pictures byte by byte.
    const Color<studio_matrix> color(y, fourth_byte, second_byte);
    Put(destination, color.red, color.green, color.blue, alpha);
}

void Yuy2Row(const std::uint8_t* source, std::uint8_t* destination, std::int32_t width,
             std::uint8_t alpha) {
    std::int32_t x = 0;
    for (; x + 1 < width; x += 2, source += 4, destination += 8) {
        PutYuy2(destination, source[0], source[1], source[3], alpha);
        PutYuy2(destination + 4, source[2], source[1], source[3], alpha);
    }
    if (x == width) return;
    // Kept: an odd last pixel borrows from the previous group, as in UYVY.
    PutYuy2(destination, source[0], source[1], x > 0 ? source[-1] : source[1], alpha);
}

template <const Matrix& matrix>
void PutBlock(const RowPair& rows, std::int32_t pair, int cb, int cr) {
    for (int row = 0; row < 2; ++row) {
        for (std::int32_t x = 2 * pair; x < 2 * pair + 2; ++x) {
            PutBgra<matrix>(rows.destination[row] + 4 * static_cast<std::ptrdiff_t>(x),
                            rows.luma[row][x], cb, cr, rows.alpha);
        }
    }
}

void Nv12Rows(const RowPair& rows, const std::uint8_t* chroma) {
    for (std::int32_t pair = 0; pair < rows.pairs; ++pair, chroma += 2)
        PutBlock<studio_matrix>(rows, pair, chroma[0], chroma[1]);
}

template <const Matrix& matrix>
void PlaneRows(const RowPair& rows, const std::uint8_t* cb, const std::uint8_t* cr) {
    for (std::int32_t pair = 0; pair < rows.pairs; ++pair)
        PutBlock<matrix>(rows, pair, cb[pair], cr[pair]);
}

void CopyRow(const std::uint8_t* source, std::uint8_t* destination, std::int32_t width) {
    for (std::int32_t x = 0; x < width; ++x, source += 4, destination += 4)
        std::copy_n(source, 3, destination);
}

void CopyAsOpaqueRow(const std::uint8_t* source, std::uint8_t* destination, std::int32_t width) {
    CopyRow(source, destination, width);
    for (std::int32_t x = 0; x < width; ++x)
        destination[4 * static_cast<std::ptrdiff_t>(x) + 3] = 255;
}

void ExpandRow(const std::uint8_t* source, std::uint8_t* destination, std::int32_t width) {
    for (std::int32_t x = 0; x < width; ++x, source += 3, destination += 4)
        std::copy_n(source, 3, destination);
}

std::uint8_t Premultiplied(int color, int alpha) {
    const int product = color * alpha;
    return static_cast<std::uint8_t>((product + (product >> 8) + 1) >> 8);
}

void PremultiplyRow(const std::uint8_t* source, std::uint8_t* destination, std::int32_t width) {
    for (std::int32_t x = 0; x < width; ++x, source += 4, destination += 4) {
        const std::uint8_t alpha = source[3];
        Put(destination, Premultiplied(source[0], alpha), Premultiplied(source[1], alpha),
            Premultiplied(source[2], alpha), alpha);
    }
}

void FillAlphaRow(std::uint8_t value, std::uint8_t* first, std::int32_t width) {
    for (std::int32_t x = 0; x < width; ++x) first[4 * static_cast<std::ptrdiff_t>(x)] = value;
}

void ResizeColumns(const ResizePlan& plan, const std::uint8_t* source, float* row) {
    for (std::int32_t x = 0; x < plan.destination.width; ++x) {
        const std::uint8_t* samples =
            source + 4 * static_cast<std::ptrdiff_t>(plan.ColumnIndexes()[x]);
        const float weight = plan.ColumnWeights()[4 * static_cast<std::ptrdiff_t>(x)];
        for (int channel = 0; channel < 4; ++channel) {
            const float left = samples[channel];
            const float right = samples[4 + channel];
            *row++ = left + (right - left) * weight;
        }
    }
}

void ResizeBetweenRows(const ResizePlan& plan, float* row, const std::uint8_t* source,
                       const RowsBetween& rows) {
    for (std::int32_t x = 0; x < plan.destination.width; ++x) {
        const std::uint8_t* samples =
            source + 4 * static_cast<std::ptrdiff_t>(plan.ColumnIndexes()[x]);
        const float column_weight = plan.ColumnWeights()[4 * static_cast<std::ptrdiff_t>(x)];
        for (int channel = 0; channel < 4; ++channel, ++row) {
            const float left = samples[channel];
            const float right = samples[4 + channel];
            const float upper = *row;
            const float lower = left + (right - left) * column_weight;
            *row = lower;
            std::uint8_t* destination =
                rows.destination + 4 * static_cast<std::ptrdiff_t>(x) + channel;
            for (std::int32_t i = 0; i < rows.count; ++i, destination += rows.step) {
                // In the default rounding mode, which nothing here changes, ties go to the even
                // number.
                const float value = upper + (lower - upper) * rows.weights[i];
                *destination = Saturate(static_cast<std::int32_t>(std::lrintf(value)));
            }
        }
    }
}

}  // namespace

const Kernels reference_kernels{
    .name = "reference",
    .yuy2 = Yuy2Row,
    .uyvy = UyvyRow,
    .nv12 = Nv12Rows,
    .i420 = PlaneRows<flat_matrix>,
    .yv12 = PlaneRows<studio_matrix>,
    .copy = CopyRow,
    .expand = ExpandRow,
    .premultiply = PremultiplyRow,
    .copy_as_opaque = CopyAsOpaqueRow,
    .fill_alpha = FillAlphaRow,
    .resize = {ResizeColumns, ResizeBetweenRows},
    .resize_sixteenths = {nullptr, nullptr},
    .resize_halved = nullptr,
    .bgra_to_yuv = ReferenceBgraToYuvRows,
};

}  // namespace Vimbrel::pixel

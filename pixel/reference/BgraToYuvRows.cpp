#include "pixel/reference/BgraToYuvRows.h"

namespace Vimbrel::pixel {
namespace {

constexpr int Dot(const std::int16_t (&weights)[3], int blue, int green, int red) {
    return weights[0] * blue + weights[1] * green + weights[2] * red;
}

}  // namespace

void ReferenceBgraToYuvRows(const BgraRowPair& rows, const YuvWeights& weights) {
    for (std::ptrdiff_t x = 0; x < rows.width; x += 2) {
        int sums[3] = {};
        for (int row = 0; row < 2; ++row) {
            const std::uint8_t* pixel = rows.pixels[row] + x * 4;
            for (std::ptrdiff_t i = 0; i < 2; ++i, pixel += 4) {
                rows.luma[row][x + i] = static_cast<std::uint8_t>(
                    (Dot(weights.luma, pixel[0], pixel[1], pixel[2]) + yuv_luma_offset) >>
                    yuv_weight_bits);
                for (int c = 0; c < 3; ++c) sums[c] += pixel[c];
            }
        }
        const auto cb = static_cast<std::uint8_t>(
            (Dot(weights.cb, sums[0], sums[1], sums[2]) + yuv_chroma_offset) >> yuv_chroma_bits);
        const auto cr = static_cast<std::uint8_t>(
            (Dot(weights.cr, sums[0], sums[1], sums[2]) + yuv_chroma_offset) >> yuv_chroma_bits);
        if (rows.cr) {
            rows.chroma[x / 2] = cb;
            rows.cr[x / 2] = cr;
        } else {
            rows.chroma[x] = cb;
            rows.chroma[x + 1] = cr;
        }
    }
}

}  // namespace Vimbrel::pixel

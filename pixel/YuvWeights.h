// The weights of the conversions into YUV, with 15 fractional bits.
#pragma once

#include <cstdint>

namespace Vimbrel::pixel {

// Blue, green, red.
struct YuvWeights {
    std::int16_t luma[3];
    std::int16_t cb[3];
    std::int16_t cr[3];
};

inline constexpr int yuv_weight_bits = 15;
// Of the sum of four pixels.
inline constexpr int yuv_chroma_bits = yuv_weight_bits + 2;
// Offsets of 16 and 128 with half a unit, for one pixel and for the sum of four.
inline constexpr int yuv_luma_offset = (16 << yuv_weight_bits) + (1 << (yuv_weight_bits - 1));
inline constexpr int yuv_chroma_offset = (128 << yuv_chroma_bits) + (1 << (yuv_chroma_bits - 1));

constexpr std::int16_t FixedYuvWeight(double value) {
    return static_cast<std::int16_t>(value * (1 << yuv_weight_bits) + (value < 0 ? -0.5 : 0.5));
}

constexpr YuvWeights MakeYuvWeights(double red, double blue) {
    constexpr double luma_range = 219.0 / 255.0;
    constexpr double chroma_range = 224.0 / 255.0;
    YuvWeights weights = {{FixedYuvWeight(luma_range * blue), 0, FixedYuvWeight(luma_range * red)},
                          {FixedYuvWeight(chroma_range * 0.5), 0,
                           FixedYuvWeight(-chroma_range * 0.5 * red / (1.0 - blue))},
                          {FixedYuvWeight(-chroma_range * 0.5 * blue / (1.0 - red)), 0,
                           FixedYuvWeight(chroma_range * 0.5)}};
    // Green makes up the sums, so that grey stays grey.
    weights.luma[1] =
        static_cast<std::int16_t>(FixedYuvWeight(luma_range) - weights.luma[0] - weights.luma[2]);
    weights.cb[1] = static_cast<std::int16_t>(-weights.cb[0] - weights.cb[2]);
    weights.cr[1] = static_cast<std::int16_t>(-weights.cr[0] - weights.cr[2]);
    return weights;
}

inline constexpr YuvWeights weights_601 = MakeYuvWeights(0.299, 0.114);
inline constexpr YuvWeights weights_709 = MakeYuvWeights(0.2126, 0.0722);

}  // namespace Vimbrel::pixel

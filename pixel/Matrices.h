// The two colour matrices, with 16 fractional bits.
#pragma once

#include <cstdint>

namespace Vimbrel::pixel {

struct Matrix {
    std::int32_t luma_gain;
    std::int32_t luma_offset;
    std::int32_t red_cr;
    std::int32_t green_cb;
    std::int32_t green_cr;
    std::int32_t blue_cb;
};

// BT.601 for video-range data. The offset is 16 times the gain, less half a unit that makes the
// shift round.
inline constexpr Matrix studio_matrix{76284, -1187776, 104595, -25690, -53281, 132186};

// Luma as it is, for UYVY and I420. Kept: hosts rely on the colours of each format.
inline constexpr Matrix flat_matrix{1 << 16, 1 << 15, 100925, -11993, -30081, 119013};

}  // namespace Vimbrel::pixel

// How the server lays pixels out, and turning them into blue, green, red, alpha.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Vimbrel {

struct XPixelFormat {
    int bits_per_pixel = 0;
    int row_bits = 32;  // rows are padded to a multiple of that
    bool most_significant_first = false;
    bool direct_color = false;  // pixels hold their colour and are no index
    bool has_alpha = false;     // in the bits that no colour takes, premultiplied
    std::uint32_t red_mask = 0;
    std::uint32_t green_mask = 0;
    std::uint32_t blue_mask = 0;

    bool Usable() const;
    // Bytes already in the order of the result.
    bool IsBgra() const;
    std::size_t RowBytes(int width) const;

    // Converts `height` rows; only if Usable. The alpha byte is left out of what is converted: it
    // is 0, or that of the picture if it has one.
    void Convert(const std::uint8_t* from, std::size_t from_stride, std::uint8_t* to,
                 std::size_t to_stride, int width, int height) const;
};

}  // namespace Vimbrel

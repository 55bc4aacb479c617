#include "platform/linux/x11/XPixelFormat.h"

#include <bit>
#include <cstring>

namespace Vimbrel {

namespace {

// One colour of a pixel of up to 32 bits, brought to 8 bits.
class Channel {
public:
    explicit Channel(std::uint32_t mask)
        : shift_(std::countr_zero(mask)), largest_(mask >> shift_) {}

    std::uint32_t Of(std::uint32_t pixel) const {
        const std::uint32_t value = (pixel >> shift_) & largest_;
        return largest_ == 255 ? value
                               : static_cast<std::uint32_t>(
                                     (std::uint64_t{value} * 255 + largest_ / 2) / largest_);
    }

private:
    int shift_;
    std::uint32_t largest_;
};

std::uint32_t Load(const std::uint8_t* bytes, int count, bool most_significant_first) {
    std::uint32_t value = 0;
    for (int i = 0; i < count; ++i)
        value |= std::uint32_t{bytes[i]} << (8 * (most_significant_first ? count - 1 - i : i));
    return value;
}

}  // namespace

bool XPixelFormat::Usable() const {
    return direct_color && (bits_per_pixel == 16 || bits_per_pixel == 24 || bits_per_pixel == 32) &&
           red_mask && green_mask && blue_mask;
}

bool XPixelFormat::IsBgra() const {
    return bits_per_pixel == 32 && !most_significant_first && red_mask == 0xFF0000 &&
           green_mask == 0xFF00 && blue_mask == 0xFF;
}

std::size_t XPixelFormat::RowBytes(int width) const {
    const std::size_t pad = static_cast<std::size_t>(row_bits);
    const std::size_t bits =
        static_cast<std::size_t>(width) * static_cast<std::size_t>(bits_per_pixel);
    return (bits + pad - 1) / pad * pad / 8;
}

void XPixelFormat::Convert(const std::uint8_t* from, std::size_t from_stride, std::uint8_t* to,
                           std::size_t to_stride, int width, int height) const {
    const Channel red(red_mask);
    const Channel green(green_mask);
    const Channel blue(blue_mask);
    const int pixel_bytes = bits_per_pixel / 8;
    const std::uint32_t alpha_mask = has_alpha ? ~(red_mask | green_mask | blue_mask) : 0;
    const Channel alpha(alpha_mask ? alpha_mask : 1);
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* source = from + static_cast<std::size_t>(y) * from_stride;
        std::uint8_t* target = to + static_cast<std::size_t>(y) * to_stride;
        for (int x = 0; x < width; ++x, source += pixel_bytes, target += 4) {
            const std::uint32_t pixel = Load(source, pixel_bytes, most_significant_first);
            const std::uint32_t opacity = alpha_mask ? alpha.Of(pixel) : 0;
            const std::uint32_t value =
                blue.Of(pixel) | green.Of(pixel) << 8 | red.Of(pixel) << 16 | opacity << 24;
            std::memcpy(target, &value, sizeof value);
        }
    }
}

}  // namespace Vimbrel

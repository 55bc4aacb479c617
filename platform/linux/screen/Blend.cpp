#include "platform/linux/screen/Blend.h"

#include <algorithm>

namespace Vimbrel {

namespace {

std::uint8_t* At(const BlendPicture& picture, std::int64_t x, std::int64_t y) {
    return picture.pixels + static_cast<std::size_t>(y) * picture.stride +
           static_cast<std::size_t>(x) * 4;
}

void BlendPixel(std::uint8_t* to, const std::uint8_t* from, BlendAlpha mode) {
    const std::uint32_t alpha = from[3];
    if (alpha == 0) return;
    const std::uint32_t below = mode == BlendAlpha::Keep ? 255 : to[3];
    // In units of 1 / 255².
    const std::uint32_t share_above = alpha * 255;
    const std::uint32_t share_below = below * (255 - alpha);
    const std::uint32_t whole = share_above + share_below;
    for (int i = 0; i < 3; ++i)
        to[i] = static_cast<std::uint8_t>(
            (from[i] * share_above + to[i] * share_below + whole / 2) / whole);
    if (mode == BlendAlpha::Combine) to[3] = static_cast<std::uint8_t>((whole + 127) / 255);
}

}  // namespace

void BlendOver(const BlendPicture& target, const BlendPicture& shape, int x, int y,
               BlendAlpha alpha) {
    const std::int64_t left = std::max(0, x);
    const std::int64_t top = std::max(0, y);
    const std::int64_t right = std::min<std::int64_t>(target.width, std::int64_t{x} + shape.width);
    const std::int64_t bottom =
        std::min<std::int64_t>(target.height, std::int64_t{y} + shape.height);
    for (std::int64_t row = top; row < bottom; ++row) {
        for (std::int64_t column = left; column < right; ++column) {
            BlendPixel(At(target, column, row), At(shape, column - x, row - y), alpha);
        }
    }
}

}  // namespace Vimbrel

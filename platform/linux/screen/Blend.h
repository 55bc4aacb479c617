// Drawing a picture with alpha over another.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Vimbrel {

// Bytes blue, green, red, alpha, not premultiplied.
struct BlendPicture {
    std::uint8_t* pixels = nullptr;
    int width = 0;
    int height = 0;
    std::size_t stride = 0;
};

enum class BlendAlpha {
    Combine,  // the target's alpha counts and is brought up to date
    Keep,     // the target counts as opaque, whatever its alpha byte says, and keeps it
};

// Draws `shape` with its corner at (x, y), cut at the target.
void BlendOver(const BlendPicture& target, const BlendPicture& shape, int x, int y,
               BlendAlpha alpha);

}  // namespace Vimbrel

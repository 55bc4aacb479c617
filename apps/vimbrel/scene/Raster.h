// A picture in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace studio {

// Premultiplied blue, green, red, alpha; rows top down without gaps.
struct Raster {
    Raster() = default;
    // All transparent.
    Raster(int raster_width, int raster_height)
        : width(raster_width),
          height(raster_height),
          pixels(static_cast<std::size_t>(raster_width) * raster_height * 4) {}

    int Stride() const { return width * 4; }
    std::uint8_t* At(int x, int y) {
        return pixels.data() + (static_cast<std::size_t>(y) * width + x) * 4;
    }
    const std::uint8_t* At(int x, int y) const {
        return pixels.data() + (static_cast<std::size_t>(y) * width + x) * 4;
    }

    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;
};

}  // namespace studio

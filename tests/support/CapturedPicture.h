// Pixels of a picture, without the byte of alpha.
#pragma once

#include <cstdint>
#include <cstring>

namespace Vimbrel::test {

inline std::uint32_t ColorAt(const unsigned char* pixels, int stride, int x, int y) {
    std::uint32_t pixel = 0;
    std::memcpy(&pixel,
                pixels + static_cast<std::size_t>(y) * static_cast<std::size_t>(stride) +
                    static_cast<std::size_t>(x) * 4,
                4);
    return pixel & 0xFFFFFF;
}

}  // namespace Vimbrel::test

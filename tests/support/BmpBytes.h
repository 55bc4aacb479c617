// Makes BMP files, which every imaging back end reads without loss.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace Vimbrel::test {

// 24 bits a pixel. `color` gives 0xRRGGBB for (x, y), y counted from the top.
inline std::vector<std::uint8_t> MakeBmp(int width, int height,
                                         const std::function<std::uint32_t(int, int)>& color) {
    const std::size_t stride = (static_cast<std::size_t>(width) * 3 + 3) / 4 * 4;
    std::vector<std::uint8_t> bytes = {'B', 'M'};
    const auto number = [&](std::uint32_t value, int size) {
        for (int i = 0; i < size; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    };
    number(static_cast<std::uint32_t>(54 + stride * static_cast<std::size_t>(height)), 4);
    number(0, 4);
    number(54, 4);
    number(40, 4);
    number(static_cast<std::uint32_t>(width), 4);
    number(static_cast<std::uint32_t>(height), 4);
    number(1, 2);
    number(24, 2);
    for (int i = 0; i < 6; ++i) number(0, 4);
    for (int y = height - 1; y >= 0; --y) {
        const std::size_t end = bytes.size() + stride;
        for (int x = 0; x < width; ++x) number(color(x, y), 3);
        bytes.resize(end);
    }
    return bytes;
}

}  // namespace Vimbrel::test

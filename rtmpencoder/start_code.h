// Start codes of an Annex B byte stream.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Vimbrel {

struct start_code {
    std::size_t place = 0;
    std::size_t length = 0;  // 3 or 4; 0 if there is none

    explicit operator bool() const { return length != 0; }
};

// Finds the first start code at or after `from`. With more than 4 bytes left both forms are looked
// for, the longer one first; with exactly 4 only the shorter, and with fewer none: a start code
// needs a byte after it.
inline start_code find_start_code(std::span<const std::uint8_t> bytes, std::size_t from) {
    for (std::size_t i = from; i + 4 <= bytes.size(); ++i) {
        if (bytes[i] != 0 || bytes[i + 1] != 0) continue;
        if (i + 4 < bytes.size() && bytes[i + 2] == 0 && bytes[i + 3] == 1) return {i, 4};
        if (bytes[i + 2] == 1) return {i, 3};
    }
    return {};
}

}  // namespace Vimbrel

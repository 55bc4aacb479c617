// Turning the picture of an output as the output is turned.
#pragma once

#include <windows.h>

#include <cstdint>

namespace Vimbrel {

// A mapped picture of an output: `width` x `height` pixels of 4 bytes in the output's own
// orientation. If `opaque`, their fourth bytes are undefined and become 255.
struct MappedPicture {
    const BYTE* pixels;
    std::int64_t pitch;  // pixels
    std::int64_t width;
    std::int64_t height;
    bool opaque = false;
};

// Where the turned picture goes: rows of `row_length` pixels, `rows` of them.
struct TurnTarget {
    BYTE* pixels;
    std::int64_t row_length;
    std::int64_t rows;
};

// Writes `source`, turned by `rotation` (a DXGI_MODE_ROTATION), into `place` of the target. Other
// rotations write nothing; what lies outside of the target or has no source pixel is left out.
void TurnOutput(const MappedPicture& source, int rotation, const RECT& place,
                const TurnTarget& target);

}  // namespace Vimbrel

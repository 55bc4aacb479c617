// The routines that one variant consists of. Each takes rows whose pointers and lengths were
// checked.
#pragma once

#include <cstdint>

#include "pixel/ResizePlan.h"

namespace Vimbrel::pixel {

using PackedYuvRow = void (*)(const std::uint8_t* source, std::uint8_t* destination,
                              std::int32_t width, std::uint8_t alpha);

// Two rows of luma and what they share.
struct RowPair {
    const std::uint8_t* luma[2];
    std::uint8_t* destination[2];
    std::int32_t pairs;
    std::uint8_t alpha;
    // Whether to write one row after the other, although the chroma then is computed twice: two
    // rows in turns are more than a processor foresees, which shows where the picture does not fit
    // its caches.
    bool one_by_one;
};
using SemiplanarRows = void (*)(const RowPair& rows, const std::uint8_t* chroma);
using PlanarRows = void (*)(const RowPair& rows, const std::uint8_t* cb, const std::uint8_t* cr);

using PixelRow = void (*)(const std::uint8_t* source, std::uint8_t* destination,
                          std::int32_t width);

// A bilinear resize first interpolates within a source row, then between two rows so made. `Sample`
// is float, or a 16-bit integer for plans whose weights are whole parts.
template <class Sample>
struct ResizeRows {
    void (*columns)(const ResizePlan& plan, const std::uint8_t* source, Sample* row);
    void (*rows)(const ResizePlan& plan, const Sample* upper, const Sample* lower, float weight,
                 std::uint8_t* destination);
};

struct Kernels {
    const char* name;
    PackedYuvRow yuy2;
    PackedYuvRow uyvy;
    SemiplanarRows nv12;
    PlanarRows i420;
    PlanarRows yv12;
    PixelRow copy;
    PixelRow expand;
    PixelRow premultiply;
    void (*fill_alpha)(std::uint8_t value, std::uint8_t* first, std::int32_t width);
    ResizeRows<float> resize;
    ResizeRows<std::uint16_t> resize_sixteenths;  // this and the next are empty in the reference
    ResizeRows<std::uint16_t> resize_parts;
};

}  // namespace Vimbrel::pixel

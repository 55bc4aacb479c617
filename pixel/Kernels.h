// The routines that one variant consists of. Each takes rows whose pointers and lengths were
// checked.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pixel/ResizePlan.h"
#include "pixel/YuvWeights.h"

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
    // alternating rows are more than a processor foresees, which shows where the picture does not
    // fit its caches.
    bool one_by_one;
};
using SemiplanarRows = void (*)(const RowPair& rows, const std::uint8_t* chroma);
using PlanarRows = void (*)(const RowPair& rows, const std::uint8_t* cb, const std::uint8_t* cr);

using PixelRow = void (*)(const std::uint8_t* source, std::uint8_t* destination,
                          std::int32_t width);

// Destination rows that lie between the same two source rows.
struct RowsBetween {
    const float* weights;  // of the lower source row
    std::uint8_t* destination;
    std::ptrdiff_t step;
    std::int32_t count;
};

// A bilinear resize in floats. `columns` interpolates within a source row. `rows` expects such a
// row of the upper source row, writes the destination rows between it and the lower one, which it
// is given as pixels, and leaves the lower one in place of the upper. A row of floats has whole
// vectors of pixels.
struct ResizeFloats {
    void (*columns)(const ResizePlan& plan, const std::uint8_t* source, float* row);
    void (*rows)(const ResizePlan& plan, float* row, const std::uint8_t* source,
                 const RowsBetween& rows);
};

// The same for plans whose weights are sixteenths: within a source row, then between two such rows.
struct ResizeSixteenths {
    void (*columns)(const ResizePlan& plan, const std::uint8_t* source, std::uint16_t* row);
    void (*rows)(const std::uint16_t* upper, const std::uint16_t* lower, float weight,
                 std::uint8_t* destination, std::int32_t width);
};

// The mean of two by two source pixels for each of `width` destination pixels.
using HalvedRow = void (*)(const std::uint8_t* upper, const std::uint8_t* lower,
                           std::uint8_t* destination, std::int32_t width);

// Two rows of pixels and what they become. Without `cr`, `chroma` takes both, interleaved; else Cb.
struct BgraRowPair {
    const std::uint8_t* pixels[2];
    std::uint8_t* luma[2];
    std::uint8_t* chroma;
    std::uint8_t* cr;
    std::int32_t width;  // even
};
using BgraToYuvRows = void (*)(const BgraRowPair& rows, const YuvWeights& weights);

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
    PixelRow copy_as_opaque;
    void (*fill_alpha)(std::uint8_t value, std::uint8_t* first, std::int32_t width);
    ResizeFloats resize;
    ResizeSixteenths resize_sixteenths;  // this and the next are empty in the reference
    HalvedRow resize_halved;
    BgraToYuvRows bgra_to_yuv;
};

}  // namespace Vimbrel::pixel

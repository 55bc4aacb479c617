// The conversions behind one signature, so that tests can run through them all, and pictures with
// guarded ends.
#pragma once

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "pixel/KernelSelection.h"
#include "pixel/PixelOperations.h"
#include "tests/support/GuardedMemory.h"

namespace Vimbrel::test {

// Uses a variant until the end of the scope.
class WithKernels {
public:
    explicit WithKernels(const pixel::Kernels& kernels) : before(pixel::SelectedKernels()) {
        pixel::SelectKernels(kernels);
    }
    ~WithKernels() { pixel::SelectKernels(before); }
    WithKernels(const WithKernels&) = delete;
    WithKernels& operator=(const WithKernels&) = delete;

private:
    const pixel::Kernels& before;
};

// Repeatable noise, with a good part of extreme values.
class Noise {
public:
    explicit Noise(std::uint32_t seed) : state(seed * 2654435761U + 1) {}
    std::uint32_t Next() {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return state;
    }
    void Fill(std::uint8_t* bytes, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint32_t value = Next();
            bytes[i] = (value & 0x700) == 0 ? ((value & 1) != 0 ? 255 : 0)
                                            : static_cast<std::uint8_t>(value >> 16);
        }
    }

private:
    std::uint32_t state;
};

struct PlaneLayout {
    std::int32_t row_bytes;
    std::int32_t rows;
};

// A plane within guarded memory. Its last byte, or its first one, touches the guard.
class Plane {
public:
    Plane(PlaneLayout plane_layout, std::int32_t padding, bool at_end, bool bottom_up)
        : layout(plane_layout),
          pitch(plane_layout.row_bytes + padding),
          upside_down(bottom_up),
          memory(Bytes()) {
        start = at_end ? memory.End() - Bytes() : memory.Begin();
    }

    std::uint8_t* FirstRow() const {
        return upside_down ? start + static_cast<std::ptrdiff_t>(pitch) * (layout.rows - 1) : start;
    }
    std::int32_t Step() const { return upside_down ? -pitch : pitch; }
    std::uint8_t* Row(std::int32_t y) const {
        return FirstRow() + static_cast<std::ptrdiff_t>(Step()) * y;
    }
    void Fill(std::uint32_t seed) const {
        Noise(seed).Fill(memory.Begin(), static_cast<std::size_t>(memory.End() - memory.Begin()));
    }
    // All the memory, the parts beside the picture too.
    std::vector<std::uint8_t> Snapshot() const { return {memory.Begin(), memory.End()}; }

private:
    std::size_t Bytes() const {
        if (layout.rows == 0 || layout.row_bytes == 0) return 0;
        return static_cast<std::size_t>(pitch) * static_cast<std::size_t>(layout.rows - 1) +
               static_cast<std::size_t>(layout.row_bytes);
    }

    PlaneLayout layout;
    std::int32_t pitch;
    bool upside_down;
    GuardedMemory memory;
    std::uint8_t* start;
};

using Planes = std::array<const std::uint8_t*, 3>;
using Steps = std::array<std::int32_t, 3>;

struct Conversion {
    const char* name;
    std::vector<PlaneLayout> (*sources)(PixelSize size);
    std::int32_t (*run)(const Planes& planes, const Steps& steps, std::uint8_t* destination,
                        std::int32_t destination_step, PixelSize size, std::uint8_t alpha);
    bool halves_rows;
};

inline std::vector<PlaneLayout> PairsLayout(PixelSize size) {
    return {{2 * size.width, size.height}};
}
inline std::vector<PlaneLayout> DwordLayout(PixelSize size) {
    return {{4 * size.width, size.height}};
}
inline std::vector<PlaneLayout> TripletLayout(PixelSize size) {
    return {{3 * size.width, size.height}};
}
inline std::vector<PlaneLayout> Nv12Layout(PixelSize size) {
    return {{size.width / 2 * 2, size.height / 2 * 2}, {size.width / 2 * 2, size.height / 2}};
}
inline std::vector<PlaneLayout> PlanarLayout(PixelSize size) {
    return {{size.width / 2 * 2, size.height / 2 * 2},
            {size.width / 2, size.height / 2},
            {size.width / 2, size.height / 2}};
}

inline const std::vector<Conversion>& AllConversions() {
    static const std::vector<Conversion> all = {
        {"YUY2", PairsLayout,
         [](const Planes& planes, const Steps& steps, std::uint8_t* destination, std::int32_t step,
            PixelSize size, std::uint8_t alpha) {
             return ConvertYuy2ToBgra(planes[0], steps[0], destination, step, size, alpha);
         },
         false},
        {"UYVY", PairsLayout,
         [](const Planes& planes, const Steps& steps, std::uint8_t* destination, std::int32_t step,
            PixelSize size, std::uint8_t alpha) {
             return ConvertUyvyToBgra(planes[0], steps[0], destination, step, size, alpha);
         },
         false},
        {"NV12", Nv12Layout,
         [](const Planes& planes, const Steps& steps, std::uint8_t* destination, std::int32_t step,
            PixelSize size, std::uint8_t alpha) {
             return ConvertNv12ToBgra(planes[0], steps[0], planes[1], steps[1], destination, step,
                                      size, alpha);
         },
         true},
        {"I420", PlanarLayout,
         [](const Planes& planes, const Steps& steps, std::uint8_t* destination, std::int32_t step,
            PixelSize size, std::uint8_t alpha) {
             return ConvertI420ToBgra(planes.data(), steps.data(), destination, step, size, alpha);
         },
         true},
        {"YV12", PlanarLayout,
         [](const Planes& planes, const Steps& steps, std::uint8_t* destination, std::int32_t step,
            PixelSize size, std::uint8_t alpha) {
             return ConvertYv12ToBgra(planes.data(), steps.data(), destination, step, size, alpha);
         },
         true},
        {"copy", DwordLayout,
         [](const Planes& planes, const Steps& steps, std::uint8_t* destination, std::int32_t step,
            PixelSize size,
            std::uint8_t) { return CopyBgrxToBgra(planes[0], steps[0], destination, step, size); },
         false},
        {"expansion", TripletLayout,
         [](const Planes& planes, const Steps& steps, std::uint8_t* destination, std::int32_t step,
            PixelSize size,
            std::uint8_t) { return ExpandBgrToBgra(planes[0], steps[0], destination, step, size); },
         false},
        {"premultiplication", DwordLayout,
         [](const Planes& planes, const Steps& steps, std::uint8_t* destination, std::int32_t step,
            PixelSize size,
            std::uint8_t) { return PremultiplyBgra(planes[0], steps[0], destination, step, size); },
         false},
        {"opaque copy", DwordLayout,
         [](const Planes& planes, const Steps& steps, std::uint8_t* destination, std::int32_t step,
            PixelSize size, std::uint8_t) {
             return CopyBgrxAsOpaque(planes[0], steps[0], destination, step, size);
         },
         false},
        // Its row is only as long as from the first alpha byte to the last one.
        {"alpha", DwordLayout,
         [](const Planes&, const Steps&, std::uint8_t* destination, std::int32_t step,
            PixelSize size,
            std::uint8_t alpha) { return FillAlpha(alpha, destination + 3, step, size); },
         false},
    };
    return all;
}

// How far a variant may be from the reference: by AVX2 and SSE4 the studio matrix is rounded.
inline int Tolerance(const pixel::Kernels& kernels, const Conversion& conversion) {
    const std::string by = kernels.name;
    const std::string name = conversion.name;
    return (by == "avx2" || by == "sse4") && (name == "YUY2" || name == "NV12" || name == "YV12")
               ? 1
               : 0;
}

struct Difference {
    std::size_t count = 0;  // of bytes that differ
    int most = 0;           // by how much
};

// Billions of bytes go through it in a test: the sanitizers have nothing to find in it and would
// take minutes.
__attribute__((no_sanitize("thread", "address", "undefined"))) inline Difference Compare(
    const std::uint8_t* got, const std::uint8_t* expected, std::size_t size) {
    Difference difference;
    if (std::memcmp(got, expected, size) == 0) return difference;
    for (std::size_t i = 0; i < size; ++i) {
        const int by = got[i] > expected[i] ? got[i] - expected[i] : expected[i] - got[i];
        if (by == 0) continue;
        ++difference.count;
        if (by > difference.most) difference.most = by;
    }
    return difference;
}

}  // namespace Vimbrel::test

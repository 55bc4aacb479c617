// BGRA to planar 4:2:0, limited range.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Vimbrel {

enum class YuvMatrix { bt601, bt709 };

// What players assume of a picture of that size that does not say.
constexpr YuvMatrix MatrixForSize(unsigned width, unsigned height) {
    return width >= 1280 || height > 576 ? YuvMatrix::bt709 : YuvMatrix::bt601;
}

struct YuvPlanes {
    std::uint8_t* data[3];
    std::ptrdiff_t stride[3];
};

// Width and height are even; the rows have no padding. Luma is rounded; chroma is the rounded mean
// of four pixels.
void ConvertBgraToYuv(const std::uint8_t* pixels, unsigned width, unsigned height, YuvMatrix matrix,
                      const YuvPlanes& planes);

// The same by plain arithmetic; the faster ways give the same bytes.
void ConvertBgraToYuvPlainly(const std::uint8_t* pixels, unsigned width, unsigned height,
                             YuvMatrix matrix, const YuvPlanes& planes);

}  // namespace Vimbrel

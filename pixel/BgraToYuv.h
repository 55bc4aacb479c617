// BGRA to 4:2:0, limited range.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Vimbrel {

enum class YuvMatrix { bt601, bt709 };

// What players assume of a picture of that size that does not say.
constexpr YuvMatrix MatrixForSize(unsigned width, unsigned height) {
    return width >= 1280 || height > 576 ? YuvMatrix::bt709 : YuvMatrix::bt601;
}

// Luma, Cb and Cr; or luma and both interleaved (NV12) if the third pointer is null. A negative
// stride with a pointer to the last row turns the picture upside down.
struct YuvPlanes {
    std::uint8_t* data[3];
    std::ptrdiff_t stride[3];
};

// Width and height are even; the rows of pixels have no padding. Luma is rounded; chroma is the
// rounded mean of four pixels. All variants of InitializePixelOperations give the same bytes.
void ConvertBgraToYuv(const std::uint8_t* pixels, unsigned width, unsigned height, YuvMatrix matrix,
                      const YuvPlanes& planes);

}  // namespace Vimbrel

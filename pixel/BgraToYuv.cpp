// libyuv converts by BT.601 only, and libswscale takes a fifth of the time that the H.264 encoder
// needs.
#include "pixel/BgraToYuv.h"

#include "pixel/KernelSelection.h"

namespace Vimbrel {

void ConvertBgraToYuv(const std::uint8_t* pixels, unsigned width, unsigned height, YuvMatrix matrix,
                      const YuvPlanes& planes) {
    const pixel::YuvWeights& weights =
        matrix == YuvMatrix::bt709 ? pixel::weights_709 : pixel::weights_601;
    const pixel::BgraToYuvRows kernel = pixel::SelectedKernels().bgra_to_yuv;
    const std::size_t pixel_stride = std::size_t{width} * 4;
    for (unsigned y = 0; y < height; y += 2) {
        const std::uint8_t* upper = pixels + y * pixel_stride;
        std::uint8_t* luma = planes.data[0] + y * planes.stride[0];
        const std::ptrdiff_t chroma_row = y / 2;
        std::uint8_t* cr =
            planes.data[2] ? planes.data[2] + chroma_row * planes.stride[2] : nullptr;
        kernel({{upper, upper + pixel_stride},
                {luma, luma + planes.stride[0]},
                planes.data[1] + chroma_row * planes.stride[1],
                cr,
                static_cast<std::int32_t>(width)},
               weights);
    }
}

}  // namespace Vimbrel

// Writing of one frame into a GIF.
#pragma once

#include <wincodec.h>

#include <cstdint>

#include "com/ComPtr.h"

namespace Vimbrel {

// A value for one frame: how it is written, and into what.
class GifFrameWriter {
public:
    IWICImagingFactory2* factory = nullptr;
    IWICBitmapEncoder* encoder = nullptr;
    std::uint32_t output_width = 0;  // which the frame is scaled to
    std::uint32_t output_height = 0;
    bool error_diffusion = true;
    // Pixels less opaque than this become transparent, in frames that have a transparent colour.
    float alpha_threshold_percent = 0;
    std::uint32_t fps = 0;  // 0 for no delay

    // The data has 4 bytes a pixel. `transparent` gives the palette a transparent colour.
    bool Write(void* data, unsigned width, unsigned height, unsigned stride,
               bool transparent) const;

private:
    // A converter of the scaled picture to a palette of its own.
    bool Convert(IWICBitmap* bitmap, bool transparent, ComPtr<IWICFormatConverter>& converter,
                 BOOL& has_alpha) const;
};

}  // namespace Vimbrel

// A decoded frame of a GIF.
#pragma once

#include <wincodec.h>

#include <memory>
#include <vector>

#include "com/ComObject.h"
#include "platform/linux/wic/BitmapSource.h"
#include "platform/linux/wic/gif/GifStructure.h"

namespace Vimbrel {

// Indices that are outside the palette are opaque black, and a palette that is copied from the
// frame reaches to the highest index that a pixel has. The transparent index is fully transparent
// black. A frame with no palette at all has black and white.
class GifFrame final : public ComObject<Implements<IWICBitmapFrameDecode, IWICBitmapSource>>,
                       public BitmapSource {
public:
    // WINCODEC_ERR_BADIMAGE for a frame that is damaged, cut off or empty.
    static HRESULT Decode(const GifFile& file, const GifFrameEntry& entry,
                          const std::vector<WICColor>& global_palette,
                          IWICBitmapFrameDecode** frame);

    GifFrame(const GifFrameEntry& entry, std::unique_ptr<std::uint8_t[]> indices,
             std::vector<WICColor> palette);

    UINT Width() const override { return entry_.width; }
    UINT Height() const override { return entry_.height; }
    HRESULT RenderPbgra(UINT width, UINT height, WICBitmapInterpolationMode mode,
                        std::uint8_t* pixels, std::size_t stride) override;

    HRESULT STDMETHODCALLTYPE GetSize(UINT* width, UINT* height) override;
    HRESULT STDMETHODCALLTYPE GetPixelFormat(WICPixelFormatGUID* format) override;
    HRESULT STDMETHODCALLTYPE CopyPalette(IWICPalette* palette) override;
    HRESULT STDMETHODCALLTYPE CopyPixels(const WICRect* rect, UINT stride, UINT size,
                                         BYTE* pixels) override;
    HRESULT STDMETHODCALLTYPE GetMetadataQueryReader(IWICMetadataQueryReader** reader) override;

private:
    const GifFrameEntry entry_;
    const std::unique_ptr<std::uint8_t[]> indices_;  // rows from top to bottom, without gaps
    std::vector<WICColor> palette_;                  // has every index that occurs
};

}  // namespace Vimbrel

// What every picture of this back end offers to the others, beside its published operations.
#pragma once

#include <wincodec.h>

#include <cstddef>
#include <cstdint>

namespace Vimbrel {

// A source that can render itself. Scalers and converters only plan; the pixels are made in one go,
// when they are asked for, by the source that owns them: so no step needs a whole picture of its
// own.
class BitmapSource {
public:
    // Size in pixels, not 0.
    virtual UINT Width() const = 0;
    virtual UINT Height() const = 0;

    // The colours are not multiplied with alpha: GUID_WICPixelFormat32bppBGRA. Such a picture can
    // be scaled, not converted.
    virtual bool Straight() const { return false; }

    // Writes the picture, scaled to width x height, as premultiplied BGRA, or as it is if it is
    // straight. `stride` is in bytes, at least width * 4.
    virtual HRESULT RenderPbgra(UINT width, UINT height, WICBitmapInterpolationMode mode,
                                std::uint8_t* pixels, std::size_t stride) = 0;

protected:
    ~BitmapSource() = default;
};

// Null for an object that is not this back end's. Takes no reference.
BitmapSource* AsBitmapSource(IWICBitmapSource* source);

// The tests of CopyPixels that all sources share: buffer, stride and rectangle against a picture of
// width x height with `pixel_bytes` a pixel. On success *area is the rectangle meant, the whole
// picture for a null one.
HRESULT CheckCopy(const WICRect* rect, UINT stride, UINT size, const BYTE* pixels, UINT width,
                  UINT height, UINT pixel_bytes, WICRect* area);

// CopyPixels of a source whose pixel format is premultiplied BGRA, by way of RenderPbgra.
HRESULT CopyRendered(BitmapSource& source, const WICRect* rect, UINT stride, UINT size,
                     BYTE* pixels);

}  // namespace Vimbrel

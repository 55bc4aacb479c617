// What all pictures that hand out premultiplied BGRA have in common.
#pragma once

#include <wincodec.h>

#include "com/ComObject.h"
#include "platform/linux/wic/BitmapSource.h"

namespace Vimbrel {

// A width of 0 stands for an object that is not initialised yet.
template <class List>
class PbgraSource : public ComObject<List>, public BitmapSource {
public:
    HRESULT STDMETHODCALLTYPE GetSize(UINT* width, UINT* height) override {
        if (!width || !height) return E_INVALIDARG;
        if (Width() == 0) return WINCODEC_ERR_NOTINITIALIZED;
        *width = Width();
        *height = Height();
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetPixelFormat(WICPixelFormatGUID* format) override {
        if (!format) return E_INVALIDARG;
        if (Width() == 0) return WINCODEC_ERR_NOTINITIALIZED;
        *format = Straight() ? GUID_WICPixelFormat32bppBGRA : GUID_WICPixelFormat32bppPBGRA;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE CopyPalette(IWICPalette* palette) override {
        if (!palette) return E_INVALIDARG;
        return Width() == 0 ? WINCODEC_ERR_NOTINITIALIZED : WINCODEC_ERR_PALETTEUNAVAILABLE;
    }

    HRESULT STDMETHODCALLTYPE CopyPixels(const WICRect* rect, UINT stride, UINT size,
                                         BYTE* pixels) override {
        return Width() == 0 ? WINCODEC_ERR_NOTINITIALIZED
                            : CopyRendered(*this, rect, stride, size, pixels);
    }
};

}  // namespace Vimbrel

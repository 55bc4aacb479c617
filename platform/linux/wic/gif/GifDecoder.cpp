#include <new>

#include "com/ComObject.h"
#include "platform/linux/wic/ImagingObjects.h"
#include "platform/linux/wic/gif/GifFrame.h"
#include "platform/linux/wic/gif/GifStructure.h"

namespace Vimbrel {

namespace {

class GifDecoder final : public ComObject<Implements<IWICBitmapDecoder>> {
public:
    HRESULT Open(const std::string& path) {
        const HRESULT hr = file_.Open(path);
        return FAILED(hr) ? hr : structure_.Scan(file_);
    }

    HRESULT STDMETHODCALLTYPE GetContainerFormat(GUID* format) override {
        if (!format) return E_INVALIDARG;
        *format = GUID_ContainerFormatGif;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE CopyPalette(IWICPalette* palette) override {
        if (!palette) return E_INVALIDARG;
        if (structure_.palette.empty()) return WINCODEC_ERR_PALETTEUNAVAILABLE;
        return palette->InitializeCustom(structure_.palette.data(),
                                         static_cast<UINT>(structure_.palette.size()));
    }

    HRESULT STDMETHODCALLTYPE GetMetadataQueryReader(IWICMetadataQueryReader** reader) override {
        return reader ? CreateMetadataReader(structure_.metadata, reader) : E_INVALIDARG;
    }

    HRESULT STDMETHODCALLTYPE GetFrameCount(UINT* count) override {
        if (!count) return E_INVALIDARG;
        *count = static_cast<UINT>(structure_.frames.size());
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetFrame(UINT index, IWICBitmapFrameDecode** frame) override {
        if (!frame) return E_INVALIDARG;
        *frame = nullptr;
        if (index >= structure_.frames.size()) return WINCODEC_ERR_FRAMEMISSING;
        try {
            return GifFrame::Decode(file_, structure_.frames[index], structure_.palette, frame);
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
    }

private:
    GifFile file_;
    GifStructure structure_;
};

}  // namespace

HRESULT CreateGifDecoder(const std::string& path, IWICBitmapDecoder** decoder) {
    *decoder = nullptr;
    try {
        ComPtr<GifDecoder> made = MakeCom<GifDecoder>();
        const HRESULT hr = made->Open(path);
        if (SUCCEEDED(hr)) *decoder = made.Detach();
        return hr;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

}  // namespace Vimbrel

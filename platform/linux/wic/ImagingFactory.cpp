#include "platform/linux/wic/ImagingFactory.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "com/ComObject.h"
#include "platform/linux/kernel/ErrnoResult.h"
#include "platform/linux/wic/ImagingObjects.h"
#include "platform/linux/wic/NativePath.h"

namespace Vimbrel {

namespace {

// Whether the file begins as a GIF does.
HRESULT IsGif(const std::string& path, bool& gif) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file) return ResultFromErrno(errno);
    char start[6] = {};
    errno = 0;
    if (std::fread(start, 1, sizeof start, file.get()) < sizeof start && std::ferror(file.get())) return ResultFromErrno(errno);
    gif = std::memcmp(start, "GIF87a", 6) == 0 || std::memcmp(start, "GIF89a", 6) == 0;
    return S_OK;
}

class ImagingFactory final : public ComObject<Implements<IWICImagingFactory2, IWICImagingFactory>> {
public:
    HRESULT STDMETHODCALLTYPE CreateDecoderFromFilename(LPCWSTR name, const GUID* vendor, DWORD access, WICDecodeOptions,
                                                        IWICBitmapDecoder** decoder) override {
        if (!decoder) return E_INVALIDARG;
        *decoder = nullptr;
        if (!name || vendor || access != GENERIC_READ) return E_INVALIDARG;
        const std::string path = NativePath(name);
        bool gif = false;
        const HRESULT hr = IsGif(path, gif);
        if (FAILED(hr)) return hr;
        return gif ? CreateGifDecoder(path, decoder) : CreateStillDecoder(path, decoder);
    }

    HRESULT STDMETHODCALLTYPE CreateEncoder(REFGUID container, const GUID*, IWICBitmapEncoder** encoder) override {
        if (!encoder) return E_INVALIDARG;
        *encoder = nullptr;
        return container == GUID_ContainerFormatGif ? CreateGifEncoder(encoder) : WINCODEC_ERR_COMPONENTNOTFOUND;
    }

    HRESULT STDMETHODCALLTYPE CreatePalette(IWICPalette** palette) override {
        return palette ? Vimbrel::CreatePalette(palette) : E_INVALIDARG;
    }

    HRESULT STDMETHODCALLTYPE CreateFormatConverter(IWICFormatConverter** converter) override {
        return converter ? Vimbrel::CreateFormatConverter(converter) : E_INVALIDARG;
    }

    HRESULT STDMETHODCALLTYPE CreateBitmapScaler(IWICBitmapScaler** scaler) override {
        return scaler ? Vimbrel::CreateBitmapScaler(scaler) : E_INVALIDARG;
    }

    HRESULT STDMETHODCALLTYPE CreateStream(IWICStream** stream) override { return stream ? CreateFileStream(stream) : E_INVALIDARG; }

    HRESULT STDMETHODCALLTYPE CreateBitmapFromMemory(UINT width, UINT height, REFWICPixelFormatGUID format, UINT stride, UINT size,
                                                     BYTE* pixels, IWICBitmap** bitmap) override {
        if (!bitmap) return E_INVALIDARG;
        *bitmap = nullptr;
        if (format != GUID_WICPixelFormat32bppPBGRA) return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
        return CreateBitmap(width, height, stride, size, pixels, bitmap);
    }
};

}  // namespace

HRESULT CreateImagingFactory(REFIID iid, void** object) { return MakeCom<ImagingFactory>()->QueryInterface(iid, object); }

}  // namespace Vimbrel

#include "platform/linux/wic/ImagingFactory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>

#include "com/ComObject.h"
#include "platform/linux/kernel/ErrnoResult.h"
#include "platform/linux/kernel/NativePath.h"
#include "platform/linux/wic/ImagingObjects.h"

namespace Vimbrel {

namespace {

// Whether the file begins as a GIF does. What is no ordinary file is refused: opening a pipe would
// wait for its other end.
HRESULT IsGif(const std::string& path, bool& gif) {
    const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) return ResultFromErrno(errno);
    struct stat status {};
    char start[6] = {};
    HRESULT hr = S_OK;
    if (fstat(file, &status) != 0 ||
        (S_ISREG(status.st_mode) && read(file, start, sizeof start) < 0)) {
        hr = ResultFromErrno(errno);
    } else if (!S_ISREG(status.st_mode)) {
        hr = E_ACCESSDENIED;
    }
    close(file);
    gif = std::memcmp(start, "GIF87a", 6) == 0 || std::memcmp(start, "GIF89a", 6) == 0;
    return hr;
}

class ImagingFactory final : public ComObject<Implements<IWICImagingFactory2, IWICImagingFactory>> {
public:
    HRESULT STDMETHODCALLTYPE CreateDecoderFromFilename(LPCWSTR name, const GUID* vendor,
                                                        DWORD access, WICDecodeOptions,
                                                        IWICBitmapDecoder** decoder) override try {
        if (!decoder) return E_INVALIDARG;
        *decoder = nullptr;
        if (!name || vendor || access != GENERIC_READ) return E_INVALIDARG;
        const std::string path = NativePath(name);
        bool gif = false;
        const HRESULT hr = IsGif(path, gif);
        if (FAILED(hr)) return hr;
        return gif ? CreateGifDecoder(path, decoder) : CreateStillDecoder(path, decoder);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }

    HRESULT STDMETHODCALLTYPE CreateEncoder(REFGUID container, const GUID*,
                                            IWICBitmapEncoder** encoder) override {
        if (!encoder) return E_INVALIDARG;
        *encoder = nullptr;
        return container == GUID_ContainerFormatGif ? CreateGifEncoder(encoder)
                                                    : WINCODEC_ERR_COMPONENTNOTFOUND;
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

    HRESULT STDMETHODCALLTYPE CreateStream(IWICStream** stream) override {
        return stream ? CreateFileStream(stream) : E_INVALIDARG;
    }

    HRESULT STDMETHODCALLTYPE CreateBitmapFromMemory(UINT width, UINT height,
                                                     REFWICPixelFormatGUID format, UINT stride,
                                                     UINT size, BYTE* pixels,
                                                     IWICBitmap** bitmap) override {
        if (!bitmap) return E_INVALIDARG;
        *bitmap = nullptr;
        const bool straight = format == GUID_WICPixelFormat32bppBGRA;
        if (!straight && format != GUID_WICPixelFormat32bppPBGRA)
            return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
        return CreateBitmap(width, height, stride, size, pixels, bitmap, straight);
    }
};

}  // namespace

HRESULT CreateImagingFactory(REFIID iid, void** object) {
    return CreateCom<ImagingFactory>(iid, object);
}

}  // namespace Vimbrel

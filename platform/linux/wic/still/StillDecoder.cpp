#include "platform/linux/wic/FrameSource.h"
#include "platform/linux/wic/ImagingObjects.h"
#include "platform/linux/wic/still/StillReader.h"

namespace Vimbrel {

namespace {

class StillFrame final : public FrameSource<Implements<IWICBitmapFrameDecode, IWICBitmapSource>> {
public:
    using FrameSource::FrameSource;

    HRESULT STDMETHODCALLTYPE GetMetadataQueryReader(IWICMetadataQueryReader** reader) override {
        if (!reader) return E_INVALIDARG;
        *reader = nullptr;
        return WINCODEC_ERR_UNSUPPORTEDOPERATION;
    }
};

// Holds the file until its picture is decoded, and the picture from then on: never both for longer
// than the decoding.
class StillDecoder final : public ComObject<Implements<IWICBitmapDecoder>> {
public:
    StillDecoder(const StillLayout& layout, FfmpegPtr<AVPacket> file)
        : layout_(layout), file_(std::move(file)) {}

    HRESULT STDMETHODCALLTYPE GetContainerFormat(GUID* format) override {
        if (!format) return E_INVALIDARG;
        *format = layout_.container;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE CopyPalette(IWICPalette* palette) override {
        return palette ? WINCODEC_ERR_PALETTEUNAVAILABLE : E_INVALIDARG;
    }

    HRESULT STDMETHODCALLTYPE GetMetadataQueryReader(IWICMetadataQueryReader** reader) override {
        if (!reader) return E_INVALIDARG;
        *reader = nullptr;
        return WINCODEC_ERR_UNSUPPORTEDOPERATION;
    }

    HRESULT STDMETHODCALLTYPE GetFrameCount(UINT* count) override {
        if (!count) return E_INVALIDARG;
        *count = layout_.pages;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetFrame(UINT index, IWICBitmapFrameDecode** frame) override {
        if (!frame) return E_INVALIDARG;
        *frame = nullptr;
        if (index >= layout_.pages) return WINCODEC_ERR_FRAMEMISSING;
        // The other pages are counted, not shown.
        if (index > 0) return WINCODEC_ERR_UNSUPPORTEDOPERATION;
        if (!frame_) {
            FfmpegPtr<AVFrame> picture;
            HRESULT hr = DecodeStill(layout_, file_.get(), &picture);
            if (SUCCEEDED(hr)) hr = CreateCom<StillFrame>(frame_.Put(), std::move(picture));
            if (FAILED(hr)) return hr;
            file_.reset();
        }
        ComPtr<IWICBitmapFrameDecode>(frame_.Get()).CopyTo(frame);
        return S_OK;
    }

private:
    StillLayout layout_;
    FfmpegPtr<AVPacket> file_;
    ComPtr<StillFrame> frame_;
};

}  // namespace

HRESULT CreateStillDecoder(const std::string& path, IWICBitmapDecoder** decoder) {
    *decoder = nullptr;
    StillLayout layout;
    FfmpegPtr<AVPacket> file;
    const HRESULT hr = ReadStillFile(path, &layout, &file);
    if (FAILED(hr)) return hr;
    return CreateCom<StillDecoder>(decoder, layout, std::move(file));
}

}  // namespace Vimbrel

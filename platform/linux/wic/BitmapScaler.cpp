#include <new>
#include <vector>

#include "com/ComPtr.h"
#include "platform/linux/wic/FrameRenderer.h"
#include "platform/linux/wic/ImagingObjects.h"
#include "platform/linux/wic/PbgraSource.h"
#include "platform/linux/wic/still/StillLayout.h"

namespace Vimbrel {

namespace {

class BitmapScaler final : public PbgraSource<Implements<IWICBitmapScaler, IWICBitmapSource>> {
public:
    HRESULT STDMETHODCALLTYPE Initialize(IWICBitmapSource* source, UINT width, UINT height,
                                         WICBitmapInterpolationMode mode) override {
        if (source_) return WINCODEC_ERR_WRONGSTATE;
        if (!source || width == 0 || height == 0) return E_INVALIDARG;
        if (mode < WICBitmapInterpolationModeNearestNeighbor ||
            mode > WICBitmapInterpolationModeFant)
            return E_INVALIDARG;
        BitmapSource* renderer = AsBitmapSource(source);
        if (!renderer) return E_INVALIDARG;
        if (renderer->Width() == 0) return WINCODEC_ERR_NOTINITIALIZED;
        const HRESULT hr = CheckPictureSize(width, height);
        if (FAILED(hr)) return hr;
        source_ = ComPtr<IWICBitmapSource>(source);
        renderer_ = renderer;
        width_ = width;
        height_ = height;
        mode_ = mode;
        return S_OK;
    }

    UINT Width() const override { return width_; }
    UINT Height() const override { return height_; }
    bool Straight() const override { return renderer_ && renderer_->Straight(); }

    HRESULT RenderPbgra(UINT width, UINT height, WICBitmapInterpolationMode mode,
                        std::uint8_t* pixels, std::size_t stride) override {
        if (width == width_ && height == height_)
            return renderer_->RenderPbgra(width, height, mode_, pixels, stride);
        // A scaler that has this one for its source: the picture in between is what the application
        // asked for.
        const FfmpegPtr<AVFrame> between = AllocateBgra(width_, height_);
        if (!between) return E_OUTOFMEMORY;
        const HRESULT hr = renderer_->RenderPbgra(width_, height_, mode_, between->data[0],
                                                  static_cast<std::size_t>(between->linesize[0]));
        return FAILED(hr) ? hr : RenderFrame(*between, width, height, mode, pixels, stride);
    }

private:
    ComPtr<IWICBitmapSource> source_;
    BitmapSource* renderer_ = nullptr;
    UINT width_ = 0;
    UINT height_ = 0;
    WICBitmapInterpolationMode mode_ = WICBitmapInterpolationModeNearestNeighbor;
};

}  // namespace

HRESULT CreateBitmapScaler(IWICBitmapScaler** scaler) { return CreateCom<BitmapScaler>(scaler); }

}  // namespace Vimbrel

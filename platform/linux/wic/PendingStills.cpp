// Stands in until the stills are built.
#include <vector>

#include "com/ComObject.h"
#include "platform/linux/wic/BitmapSource.h"
#include "platform/linux/wic/FormatConverter.h"
#include "platform/linux/wic/ImagingObjects.h"
#include "platform/linux/wic/IndexedRenderer.h"
#include "platform/linux/wic/PbgraScaler.h"

namespace Vimbrel {

namespace {

class PendingBitmap final : public ComObject<Implements<IWICBitmap, IWICBitmapSource>>, public BitmapSource {
public:
    PendingBitmap(UINT width, UINT height, UINT stride, const BYTE* pixels) : width_(width), height_(height) {
        for (UINT y = 0; y < height; ++y) {
            const BYTE* row = pixels + std::size_t{stride} * y;
            pixels_.insert(pixels_.end(), row, row + std::size_t{width} * 4);
        }
    }
    UINT Width() const override { return width_; }
    UINT Height() const override { return height_; }
    HRESULT RenderPbgra(UINT width, UINT height, WICBitmapInterpolationMode mode, std::uint8_t* pixels, std::size_t stride) override {
        return ScalePbgra({pixels_.data(), std::size_t{width_} * 4, width_, height_}, width, height, mode, pixels, stride);
    }
    HRESULT STDMETHODCALLTYPE GetSize(UINT* width, UINT* height) override { return *width = width_, *height = height_, S_OK; }
    HRESULT STDMETHODCALLTYPE GetPixelFormat(WICPixelFormatGUID* format) override { return *format = GUID_WICPixelFormat32bppPBGRA, S_OK; }
    HRESULT STDMETHODCALLTYPE CopyPalette(IWICPalette* palette) override {
        return palette ? WINCODEC_ERR_PALETTEUNAVAILABLE : E_INVALIDARG;
    }
    HRESULT STDMETHODCALLTYPE CopyPixels(const WICRect* rect, UINT stride, UINT size, BYTE* pixels) override {
        return CopyRendered(*this, rect, stride, size, pixels);
    }

private:
    UINT width_;
    UINT height_;
    std::vector<std::uint8_t> pixels_;
};

class PendingScaler final : public ComObject<Implements<IWICBitmapScaler, IWICBitmapSource>>, public BitmapSource {
public:
    UINT Width() const override { return width_; }
    UINT Height() const override { return height_; }
    HRESULT RenderPbgra(UINT width, UINT height, WICBitmapInterpolationMode mode, std::uint8_t* pixels, std::size_t stride) override {
        return AsBitmapSource(source_.Get())->RenderPbgra(width, height, mode, pixels, stride);
    }
    HRESULT STDMETHODCALLTYPE Initialize(IWICBitmapSource* source, UINT width, UINT height, WICBitmapInterpolationMode) override {
        source_ = ComPtr<IWICBitmapSource>(source);
        width_ = width;
        height_ = height;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetSize(UINT* width, UINT* height) override { return *width = width_, *height = height_, S_OK; }
    HRESULT STDMETHODCALLTYPE GetPixelFormat(WICPixelFormatGUID* format) override { return *format = GUID_WICPixelFormat32bppPBGRA, S_OK; }
    HRESULT STDMETHODCALLTYPE CopyPalette(IWICPalette*) override { return WINCODEC_ERR_PALETTEUNAVAILABLE; }
    HRESULT STDMETHODCALLTYPE CopyPixels(const WICRect* rect, UINT stride, UINT size, BYTE* pixels) override {
        return CopyRendered(*this, rect, stride, size, pixels);
    }

private:
    ComPtr<IWICBitmapSource> source_;
    UINT width_ = 0;
    UINT height_ = 0;
};

class PendingConverter final : public ComObject<Implements<IWICFormatConverter, IWICBitmapSource>>, public BitmapSource {
public:
    const IndexedPlan* Plan() const { return plan_.palette ? &plan_ : nullptr; }
    UINT Width() const override { return plan_.width; }
    UINT Height() const override { return plan_.height; }
    HRESULT RenderPbgra(UINT width, UINT height, WICBitmapInterpolationMode mode, std::uint8_t* pixels, std::size_t stride) override {
        return AsBitmapSource(plan_.source.Get())->RenderPbgra(width, height, mode, pixels, stride);
    }
    HRESULT STDMETHODCALLTYPE Initialize(IWICBitmapSource* source, REFWICPixelFormatGUID, WICBitmapDitherType dither, IWICPalette* palette,
                                         double threshold, WICBitmapPaletteType) override {
        plan_.source = ComPtr<IWICBitmapSource>(source);
        plan_.palette = ComPtr<IWICPalette>(palette);
        plan_.diffuse = dither == WICBitmapDitherTypeErrorDiffusion;
        plan_.alpha_threshold_percent = threshold;
        return source->GetSize(&plan_.width, &plan_.height);
    }
    HRESULT STDMETHODCALLTYPE GetSize(UINT* width, UINT* height) override { return *width = plan_.width, *height = plan_.height, S_OK; }
    HRESULT STDMETHODCALLTYPE GetPixelFormat(WICPixelFormatGUID* format) override {
        return *format = plan_.palette ? GUID_WICPixelFormat8bppIndexed : GUID_WICPixelFormat32bppPBGRA, S_OK;
    }
    HRESULT STDMETHODCALLTYPE CopyPalette(IWICPalette* palette) override {
        if (!plan_.palette) return WINCODEC_ERR_PALETTEUNAVAILABLE;
        WICColor colors[256];
        UINT count = 0;
        plan_.palette->GetColors(256, colors, &count);
        return palette->InitializeCustom(colors, count);
    }
    HRESULT STDMETHODCALLTYPE CopyPixels(const WICRect* rect, UINT stride, UINT size, BYTE* pixels) override {
        if (!plan_.palette) return CopyRendered(*this, rect, stride, size, pixels);
        return RenderIndexed(*AsBitmapSource(plan_.source.Get()), plan_.width, plan_.height, plan_.palette.Get(), plan_.diffuse,
                             plan_.alpha_threshold_percent, pixels, stride);
    }

private:
    IndexedPlan plan_{};
};

}  // namespace

const IndexedPlan* AsIndexedPlan(IWICBitmapSource* converter) {
    const auto* pending = dynamic_cast<PendingConverter*>(converter);
    return pending ? pending->Plan() : nullptr;
}

HRESULT CreateStillDecoder(const std::string&, IWICBitmapDecoder** decoder) { return *decoder = nullptr, E_NOTIMPL; }
HRESULT CreateFormatConverter(IWICFormatConverter** converter) { return *converter = MakeCom<PendingConverter>().Detach(), S_OK; }
HRESULT CreateBitmapScaler(IWICBitmapScaler** scaler) { return *scaler = MakeCom<PendingScaler>().Detach(), S_OK; }
HRESULT CreateBitmap(UINT width, UINT height, UINT stride, UINT, const BYTE* pixels, IWICBitmap** bitmap) {
    return *bitmap = MakeCom<PendingBitmap>(width, height, stride, pixels).Detach(), S_OK;
}

}  // namespace Vimbrel

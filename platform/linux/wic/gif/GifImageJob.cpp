#include "platform/linux/wic/gif/GifImageJob.h"

#include <limits>
#include <new>
#include <utility>

#include "platform/linux/wic/BitmapSource.h"
#include "platform/linux/wic/FormatConverter.h"
#include "platform/linux/wic/gif/GifBytes.h"
#include "platform/linux/wic/palette/IndexedRenderer.h"
#include "platform/linux/wic/palette/Palette.h"

namespace Vimbrel {

HRESULT GifImageJob::FromSource(IWICBitmapSource* source, std::unique_ptr<GifImageJob>& job) {
    UINT width = 0;
    UINT height = 0;
    WICPixelFormatGUID format{};
    HRESULT hr = source->GetSize(&width, &height);
    if (SUCCEEDED(hr)) hr = source->GetPixelFormat(&format);
    if (FAILED(hr)) return hr;
    if (format != GUID_WICPixelFormat8bppIndexed) return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
    constexpr UINT side_limit = std::numeric_limits<std::uint16_t>::max();
    if (width == 0 || height == 0 || width > side_limit || height > side_limit)
        return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
    try {
        std::unique_ptr<GifImageJob> made(new GifImageJob);
        made->width_ = static_cast<std::uint16_t>(width);
        made->height_ = static_cast<std::uint16_t>(height);
        const IndexedPlan* plan = AsIndexedPlan(source);
        const bool planned =
            plan && AsPalette(plan->palette.Get()) && AsBitmapSource(plan->source.Get());
        hr = planned ? made->TakePlanned(*plan) : made->TakeIndices(source);
        if (FAILED(hr)) return hr;
        job = std::move(made);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

// The pixels are rendered here and now, since what the plan names may change; palette, mapping and
// compression, which take most of the time, need nothing of it.
HRESULT GifImageJob::TakePlanned(const IndexedPlan& plan) {
    palette_ = AsPalette(plan.palette.Get())->Colors();
    if (!palette_) return WINCODEC_ERR_PALETTEUNAVAILABLE;
    diffuse_ = plan.diffuse;
    alpha_threshold_percent_ = plan.alpha_threshold_percent;
    const std::size_t stride = std::size_t{width_} * 4;
    pbgra_.resize(stride * height_);
    return AsBitmapSource(plan.source.Get())
        ->RenderPbgra(width_, height_, WICBitmapInterpolationModeLinear, pbgra_.data(), stride);
}

HRESULT GifImageJob::TakeIndices(IWICBitmapSource* source) {
    const std::size_t size = std::size_t{width_} * height_;
    const ComPtr<Palette> palette = MakeCom<Palette>();
    HRESULT hr = source->CopyPalette(palette.Get());
    if (FAILED(hr)) return hr;
    palette_ = palette->Colors();
    if (!palette_) return WINCODEC_ERR_PALETTEUNAVAILABLE;
    indices_.resize(size);
    return source->CopyPixels(nullptr, width_, static_cast<UINT>(size), indices_.data());
}

void GifImageJob::Prepare() {
    try {
        result_ = Compress();
    } catch (const std::bad_alloc&) {
        result_ = E_OUTOFMEMORY;
    }
    std::exchange(pbgra_, {});
    std::exchange(indices_, {});
}

HRESULT GifImageJob::Compress() {
    const std::vector<WICColor>* colors = nullptr;
    HRESULT hr = palette_->Get(&colors);
    if (FAILED(hr)) return hr;
    if (!pbgra_.empty()) {
        indices_.resize(std::size_t{width_} * height_);
        hr = MapToPalette(pbgra_.data(), width_, height_, *colors, diffuse_,
                          alpha_threshold_percent_, indices_.data(), width_);
        if (FAILED(hr)) return hr;
    }
    GifBytes bytes;
    hr = bytes.PutImage(width_, height_, *colors, indices_);
    if (SUCCEEDED(hr)) image_ = bytes.Take();
    return hr;
}

}  // namespace Vimbrel

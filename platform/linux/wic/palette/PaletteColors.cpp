#include "platform/linux/wic/palette/PaletteColors.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "platform/linux/wic/BitmapSource.h"
#include "platform/linux/wic/palette/ColorQuantizer.h"

namespace Vimbrel {

namespace {

// Of larger pictures a part of the pixels is looked at, evenly spread.
constexpr double looked_at_limit = 1 << 22;

constexpr WICColor opaque_black = 0xFF000000u;

}  // namespace

PaletteColors::PaletteColors(std::vector<WICColor> colors)
    : has_alpha_(std::any_of(colors.begin(), colors.end(),
                             [](WICColor color) { return color >> 24 != 0xFF; })),
      colors_(std::move(colors)) {}

PaletteColors::PaletteColors(ComPtr<IWICBitmapSource> bitmap, UINT count, bool add_transparent)
    : has_alpha_(add_transparent), count_(count), bitmap_(std::move(bitmap)) {}

HRESULT PaletteColors::Get(const std::vector<WICColor>** colors) {
    const MutexLock guard(lock_);
    if (bitmap_) {
        try {
            const HRESULT hr = Quantize();
            if (FAILED(hr)) return hr;
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
        bitmap_.Reset();
    }
    *colors = &colors_;
    return S_OK;
}

HRESULT PaletteColors::Quantize() {
    BitmapSource* source = AsBitmapSource(bitmap_.Get());
    UINT width = source->Width();
    UINT height = source->Height();
    const double pixels = static_cast<double>(width) * height;
    if (pixels > looked_at_limit) {
        const double part = std::sqrt(looked_at_limit / pixels);
        width = std::max(1u, static_cast<UINT>(width * part));
        height = std::max(1u, static_cast<UINT>(height * part));
    }
    const std::size_t pixel_count = std::size_t{width} * height;
    std::vector<std::uint8_t> pbgra(pixel_count * 4);
    const HRESULT hr = source->RenderPbgra(width, height, WICBitmapInterpolationModeNearestNeighbor,
                                           pbgra.data(), std::size_t{width} * 4);
    if (FAILED(hr)) return hr;

    const UINT opaque = has_alpha_ ? count_ - 1 : count_;
    std::vector<WICColor> colors;
    if (opaque > 0) colors = QuantizeColors(pbgra.data(), pixel_count, opaque, has_alpha_);
    if (has_alpha_) {
        colors.resize(opaque, opaque_black);
        colors.push_back(0);
    }
    if (colors.empty()) colors.push_back(opaque_black);
    colors_ = std::move(colors);
    return S_OK;
}

}  // namespace Vimbrel

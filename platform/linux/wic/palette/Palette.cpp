#include "platform/linux/wic/palette/Palette.h"

#include <algorithm>
#include <new>

#include "platform/linux/wic/BitmapSource.h"
#include "platform/linux/wic/ImagingObjects.h"

namespace Vimbrel {

namespace {

constexpr UINT color_limit = 256;

}  // namespace

HRESULT Palette::InitializeCustom(WICColor* colors, UINT color_count) {
    if (!colors || color_count == 0 || color_count > color_limit) return E_INVALIDARG;
    try {
        colors_ =
            std::make_shared<PaletteColors>(std::vector<WICColor>(colors, colors + color_count));
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

HRESULT Palette::InitializeFromBitmap(IWICBitmapSource* surface, UINT color_count,
                                      BOOL add_transparent) {
    if (!surface || color_count == 0 || color_count > color_limit || !AsBitmapSource(surface))
        return E_INVALIDARG;
    try {
        ComPtr<IWICBitmapSource> bitmap(surface);
        const bool unchanging = static_cast<bool>(bitmap.As<IWICBitmap>());
        auto colors = std::make_shared<PaletteColors>(std::move(bitmap), color_count,
                                                      add_transparent != FALSE);
        if (!unchanging) {
            const std::vector<WICColor>* found = nullptr;
            const HRESULT hr = colors->Get(&found);
            if (FAILED(hr)) return hr;
        }
        colors_ = std::move(colors);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

HRESULT Palette::GetColorCount(UINT* count) {
    if (!count) return E_INVALIDARG;
    *count = 0;
    if (!colors_) return WINCODEC_ERR_NOTINITIALIZED;
    const std::vector<WICColor>* colors = nullptr;
    const HRESULT hr = colors_->Get(&colors);
    if (SUCCEEDED(hr)) *count = static_cast<UINT>(colors->size());
    return hr;
}

HRESULT Palette::GetColors(UINT color_count, WICColor* target, UINT* actual) {
    if (!target || !actual) return E_INVALIDARG;
    *actual = 0;
    if (!colors_) return WINCODEC_ERR_NOTINITIALIZED;
    const std::vector<WICColor>* colors = nullptr;
    const HRESULT hr = colors_->Get(&colors);
    if (FAILED(hr)) return hr;
    *actual = std::min(color_count, static_cast<UINT>(colors->size()));
    std::copy_n(colors->begin(), *actual, target);
    return S_OK;
}

HRESULT Palette::HasAlpha(BOOL* has_alpha) {
    if (!has_alpha) return E_INVALIDARG;
    *has_alpha = FALSE;
    if (!colors_) return WINCODEC_ERR_NOTINITIALIZED;
    *has_alpha = colors_->HasAlpha() ? TRUE : FALSE;
    return S_OK;
}

Palette* AsPalette(IWICPalette* palette) { return dynamic_cast<Palette*>(palette); }

HRESULT CreatePalette(IWICPalette** palette) { return CreateCom<Palette>(palette); }

}  // namespace Vimbrel

#pragma once

#include <wincodec.h>

#include <memory>

#include "com/ComObject.h"
#include "platform/linux/wic/palette/PaletteColors.h"

namespace Vimbrel {

class Palette final : public ComObject<Implements<IWICPalette>> {
public:
    HRESULT STDMETHODCALLTYPE InitializeCustom(WICColor* colors, UINT color_count) override;
    // A bitmap in memory is only looked at when the colours are needed, which may be on another
    // thread.
    HRESULT STDMETHODCALLTYPE InitializeFromBitmap(IWICBitmapSource* surface, UINT color_count,
                                                   BOOL add_transparent) override;
    HRESULT STDMETHODCALLTYPE GetColorCount(UINT* count) override;
    HRESULT STDMETHODCALLTYPE GetColors(UINT color_count, WICColor* colors, UINT* actual) override;
    HRESULT STDMETHODCALLTYPE HasAlpha(BOOL* has_alpha) override;

    // What the palette holds now, untouched by what becomes of it. Null before it is set up.
    std::shared_ptr<PaletteColors> Colors() const { return colors_; }

private:
    std::shared_ptr<PaletteColors> colors_;
};

// Null for an object that is not this back end's. Takes no reference.
Palette* AsPalette(IWICPalette* palette);

}  // namespace Vimbrel

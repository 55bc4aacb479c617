// The colours of a palette, found when they are first asked for.
#pragma once

#include <wincodec.h>

#include <mutex>
#include <vector>

#include "com/ComPtr.h"

namespace Vimbrel {

// Never changes once made, and may be shared by threads: a palette that is set up anew takes other
// colours.
class PaletteColors {
public:
    explicit PaletteColors(std::vector<WICColor> colors);
    // The best colours of a bitmap, whose pixels do not change and which is let go after the first
    // Get.
    PaletteColors(ComPtr<IWICBitmapSource> bitmap, UINT count, bool add_transparent);
    PaletteColors(const PaletteColors&) = delete;
    PaletteColors& operator=(const PaletteColors&) = delete;

    // On success *colors lives as long as this.
    HRESULT Get(const std::vector<WICColor>** colors);
    bool HasAlpha() const { return has_alpha_; }

private:
    HRESULT Quantize();

    const bool has_alpha_;
    const UINT count_ = 0;
    std::mutex lock_;
    ComPtr<IWICBitmapSource> bitmap_;  // guarded by lock_, null once the colours are known
    std::vector<WICColor> colors_;     // guarded by lock_ until then
};

}  // namespace Vimbrel

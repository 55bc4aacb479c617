// The colours of a palette, found when they are first asked for.
#pragma once

#include <wincodec.h>

#include <vector>

#include "base/ThreadSafety.h"
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
    HRESULT Quantize() REQUIRES(lock_);

    const bool has_alpha_;
    const UINT count_ = 0;
    Mutex lock_;
    ComPtr<IWICBitmapSource> bitmap_ GUARDED_BY(lock_);  // null once the colours are known
    // Do not change any more once they are known; Get hands out their address then.
    std::vector<WICColor> colors_ GUARDED_BY(lock_);
};

}  // namespace Vimbrel

// What the GIF encoder takes from a converter to palette indices: it makes the indices itself,
// within its own frame.
#pragma once

#include <wincodec.h>

#include "com/ComPtr.h"

namespace Vimbrel {

struct IndexedPlan {
    ComPtr<IWICBitmapSource> source;
    ComPtr<IWICPalette> palette;
    bool diffuse = false;
    double alpha_threshold_percent = 0.0;
    UINT width = 0;  // of the source
    UINT height = 0;
};

// Null if `converter` is no initialised converter to palette indices. The plan lives as long as the
// converter.
const IndexedPlan* AsIndexedPlan(IWICBitmapSource* converter);

}  // namespace Vimbrel

// What a converter to palette indices plans, for an encoder that renders it itself.
#pragma once

#include <wincodec.h>

#include "com/ComPtr.h"

namespace Vimbrel {

struct IndexedPlan {
    ComPtr<IWICBitmapSource> source;
    ComPtr<IWICPalette> palette;
    bool diffuse;
    double alpha_threshold_percent;
    UINT width, height;
};

// Null if it is no converter to palette indices. Takes no reference.
const IndexedPlan* AsIndexedPlan(IWICBitmapSource* converter);

}  // namespace Vimbrel

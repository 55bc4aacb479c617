// GetFramePointerShape of all duplications.
#pragma once

#include <dxgi1_2.h>

#include <cstring>

#include "platform/linux/x11/XPointer.h"

namespace Vimbrel {

// `acquired`: a frame is held. `reported`: it brought a shape, else the reply has the size 0.
inline HRESULT ReplyPointerShape(const XPointerShape& shape, bool acquired, bool reported,
                                 UINT size, void* buffer, UINT* required,
                                 DXGI_OUTDUPL_POINTER_SHAPE_INFO* info) {
    if (!required || !info) return E_INVALIDARG;
    *required = 0;
    *info = {};
    if (!acquired) return DXGI_ERROR_INVALID_CALL;
    if (!reported) return S_OK;
    *required = static_cast<UINT>(shape.pixels.size());
    if (size < *required) return DXGI_ERROR_MORE_DATA;
    if (!buffer) return E_INVALIDARG;
    std::memcpy(buffer, shape.pixels.data(), shape.pixels.size());
    info->Type = DXGI_OUTDUPL_POINTER_SHAPE_TYPE_COLOR;
    info->Width = static_cast<UINT>(shape.width);
    info->Height = static_cast<UINT>(shape.height);
    info->Pitch = info->Width * 4;
    info->HotSpot = {shape.hot_x, shape.hot_y};
    return S_OK;
}

}  // namespace Vimbrel

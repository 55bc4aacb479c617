// Keeps and draws the last pointer shape that a duplicated desktop reported.
#pragma once

#include <dxgi1_2.h>

#include <memory>

#include "ScreenCapture/system/GdiPlus.h"

namespace Vimbrel {

struct PointerInfo {
    std::unique_ptr<BYTE[]> shape;  // as the interface gave it
    UINT size = 0;                  // bytes of the shape
    DXGI_OUTDUPL_POINTER_SHAPE_INFO shapeInfo{};
    DXGI_OUTDUPL_FRAME_INFO frameInfo{};  // its pointer position is in desktop coordinates
};

// Draws the pointer on `target`, 32-bit rows of the width of `frame`. `clip` is the desktop
// rectangle that the target shows.
void DrawPointer(const PointerInfo& pointer, GdiPlus& gdiplus, BYTE* target, const RECT& clip,
                 const RECT& frame);

}  // namespace Vimbrel

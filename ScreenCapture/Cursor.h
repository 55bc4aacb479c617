// Drawing the system's mouse cursor into a captured picture.
#pragma once

#include "ScreenCapture/system/Gdi.h"

namespace Vimbrel {

// Draws the cursor on `context`, whose corner shows the corner of `rect`, in screen coordinates;
// nothing if it is outside or hidden.
void DrawSystemCursor(Gdi& gdi, HDC context, const RECT& rect);

// The header of every bitmap here: 32 bits a pixel, rows top down.
BITMAPINFO TopDownBitmap(LONG width, LONG height);

}  // namespace Vimbrel

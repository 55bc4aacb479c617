// Pixels of a cast stream as those of this side: blue, green, red.
#pragma once

#include "platform/linux/portal/CastEvents.h"
#include "platform/linux/x11/PixelBuffer.h"
#include "platform/linux/x11/XPointer.h"

namespace Vimbrel {

// Copies `area`, which lies within the picture, to (x, y) of the target, where it fits. The alpha
// bytes there stay.
void CopyCastPixels(const CastPicture& picture, const RECT& area, const PixelBuffer& target, int x,
                    int y);

// The shape of a cursor that has one, no longer premultiplied.
void ReadCastShape(const CastCursor& cursor, XPointerShape& shape);

}  // namespace Vimbrel

// Pictures of outputs that are turned.
#pragma once

#include <dxgitype.h>

#include "platform/linux/x11/DrawableReader.h"
#include "platform/linux/x11/PixelBuffer.h"

namespace Vimbrel {

// Copies `area` of the upright picture to where the output shows it: the opposite of what the
// rotation asks the user of the texture to do. The rotation is not the identity, and `turned` has
// the picture's sizes, exchanged if that is a quarter.
void TurnBack(const PixelBuffer& upright, const XRectangle& area, DXGI_MODE_ROTATION rotation,
              const PixelBuffer& turned);

}  // namespace Vimbrel

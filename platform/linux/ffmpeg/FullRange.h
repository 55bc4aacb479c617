// Pixel formats whose name says the range.
#pragma once

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace Vimbrel {

// The formats with a J in their names are the others with full range, and libswscale complains of
// them. The same format if it has no J.
AVPixelFormat WithoutRange(AVPixelFormat format);

}  // namespace Vimbrel

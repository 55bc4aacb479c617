// The compressed rows of a PNG.
#pragma once

#include "platform/linux/wic/still/ByteView.h"

namespace Vimbrel {

// Whether the data of a PNG of sound layout inflates to all the rows that its header promises.
bool HasAllPngRows(ByteView file);

}  // namespace Vimbrel

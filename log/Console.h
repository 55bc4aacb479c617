// Standard output, in colour where it is a console.
#pragma once

#include <string_view>

#include "log/LockHelper.h"

namespace HalvorixAppLog {

// Prints `text` in the colour of `level`. Levels with a colour, 2 to 6, print nothing at all where
// standard output is no console; the others print anywhere. Meant. The lock keeps a text from
// coming out in another level's colour.
void PrintColoured(LockHelper& consoleLock, int level, std::string_view text);

}  // namespace HalvorixAppLog

// Standard output, in colour where it is a console.
#pragma once

#include <string_view>

#include "log/LockHelper.h"

namespace HalvorixAppLog {

// Prints `text` in the colour of `level`. Kept: levels with a colour, 2 to 6, print nothing where
// standard output is no console, because hosts redirect it and want only what has no colour. The
// lock keeps a text from coming out in another level's colour.
void PrintColoured(LockHelper& consoleLock, int level, std::string_view text) EXCLUDES(consoleLock);

}  // namespace HalvorixAppLog

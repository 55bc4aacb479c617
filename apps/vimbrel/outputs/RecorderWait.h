// Waiting for a recorder to work off what was pushed.
#pragma once

#include "vimbrel/MediaTranscode.h"

namespace studio {

// Stopping a recorder gives up what still waits, so this comes before. Returns as well when nothing
// moves for a while.
void WaitForRecorder(const Vimbrel::MediaTranscode& recorder);

}  // namespace studio

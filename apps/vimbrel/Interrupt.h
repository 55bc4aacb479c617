// Ctrl-C and the system's request to end.
#pragma once

namespace studio {

// From here on the request is noted instead of ending the program; a second one ends it at once.
void WatchForInterrupt();

bool Interrupted();

}  // namespace studio

// Ctrl-C, the system's request to end, and a terminal that is closed.
#pragma once

namespace studio {

// From here on the request is noted instead of ending the program; a second Ctrl-C or request ends
// it at once. A reader of the output that goes away ends nothing.
void WatchForInterrupt();

bool Interrupted();

}  // namespace studio

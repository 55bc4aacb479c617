// Waits for an event while pumping the calling thread's messages.
#pragma once

#include <windows.h>

namespace Vimbrel {

// Waits for `event` without a time limit and dispatches the calling thread's messages
// meanwhile. False if the wait fails.
bool WaitKeepingMessages(HANDLE event);

}  // namespace Vimbrel

// Waiting for an event on a thread that owes its messages an ear.
#pragma once

#include <windows.h>

namespace Vimbrel {

// Waits for `event` without a time limit and takes and dispatches the calling thread's messages
// meanwhile. False if the wait fails.
bool WaitKeepingMessages(HANDLE event);

}  // namespace Vimbrel

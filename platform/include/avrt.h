// Threads for sound. Inside the library only.
#pragma once

#include "windef.h"

extern "C" {

// Raises the calling thread to real-time scheduling if the system permits it; a handle in either
// case. Null without memory. *task_index is not used.
HANDLE WINAPI AvSetMmThreadCharacteristicsW(LPCWSTR task, DWORD* task_index);
// On the same thread: gives back its scheduling. FALSE for null.
BOOL WINAPI AvRevertMmThreadCharacteristics(HANDLE task);

}  // extern "C"

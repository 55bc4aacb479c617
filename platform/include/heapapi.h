// Settings of the heap. Inside the library only.
#pragma once

#include "windef.h"

enum HEAP_INFORMATION_CLASS : std::int32_t { HeapEnableTerminationOnCorruption = 1 };

extern "C" {

// Only HeapEnableTerminationOnCorruption of all heaps (`heap` null, no data): true, and nothing to
// do, since the C library here ends the process on a corrupt heap by itself.
BOOL WINAPI HeapSetInformation(HANDLE heap, HEAP_INFORMATION_CLASS what, void* data, SIZE_T size);

}  // extern "C"

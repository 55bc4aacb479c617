// The millisecond clock.
#pragma once

#include "mmreg.h"

extern "C" {

// Milliseconds of a steady clock; wraps after 2^32.
DWORD WINAPI timeGetTime();

}  // extern "C"

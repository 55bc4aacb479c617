// Texts for a debugger. Inside the library only.
#pragma once

#include "windef.h"

extern "C" {

// Debuggers here have no channel for such texts, so both drop them.
void WINAPI OutputDebugStringA(LPCSTR text);
void WINAPI OutputDebugStringW(LPCWSTR text);

}  // extern "C"

// Text between UTF-8 and wide characters: what an application needs for the names and texts that
// the library takes.
#pragma once

#include "windef.h"

#include "vimbrel/Export.h"

// The thread's own code page, which is UTF-8 here.
inline constexpr UINT CP_THREAD_ACP = 3;
inline constexpr UINT CP_UTF8 = 65001;

extern "C" {

// Converts `size` bytes of UTF-8, or up to and with the terminator if `size` is -1. With `capacity`
// 0 nothing is written and the result is the number of wide characters needed; else the number
// written, or 0 if there is not enough room. 0 also for a code page other than these or flags
// other than 0. Bad input becomes U+FFFD.
VIMBREL_API int WINAPI MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR text, int size,
                                           LPWSTR wide, int capacity);

// The same the other way; `default_character` and `used_default` must be null.
VIMBREL_API int WINAPI WideCharToMultiByte(UINT code_page, DWORD flags, LPCWSTR wide, int size,
                                           LPSTR text, int capacity, LPCSTR default_character,
                                           BOOL* used_default);

}  // extern "C"

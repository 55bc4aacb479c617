// Clocks, thread ids, the main module, the console, the debugger, log files, locks, events,
// messages, windows and the screen. Inside the library only; applications do not get this header.
#pragma once

#include "debugapi.h"
#include "fileapi.h"
#include "heapapi.h"
#include "synchapi.h"
#include "wincon.h"
#include "winerror.h"
#include "wingdi.h"
#include "winnt.h"
#include "winuser.h"
#include "winver.h"

extern "C" {

// A monotonic counter and its ticks per second, which never change while the process runs. Always
// non-zero.
BOOL WINAPI QueryPerformanceCounter(LARGE_INTEGER* count);
BOOL WINAPI QueryPerformanceFrequency(LARGE_INTEGER* frequency);

// The wall clock in 100-nanosecond units since 1601-01-01 UTC.
void WINAPI GetSystemTimeAsFileTime(FILETIME* time);

DWORD WINAPI GetCurrentThreadId();
DWORD WINAPI GetCurrentProcessId();

// `name` must be null: the handle of the main program. Other modules are not looked up; the result
// is then null.
HMODULE WINAPI GetModuleHandleW(LPCWSTR name);

// The path of the main program; `module` must be null. Returns its length, or `size` if it was cut
// to fit, or 0.
DWORD WINAPI GetModuleFileNameA(HMODULE module, LPSTR path, DWORD size);
DWORD WINAPI GetModuleFileNameW(HMODULE module, LPWSTR path, DWORD size);

// Loads a library, or takes another reference to it; nothing here gives one back. Backslashes in
// the path separate folders. Null if it cannot be loaded.
HMODULE WINAPI LoadLibraryW(LPCWSTR path);

// The address of a dynamic symbol that `module` itself defines, null if it has none. Symbols of the
// libraries that the module loads do not count.
FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name);

// number * numerator / denominator in 64 bits, rounded to the nearest, halves away from 0; -1 if
// the result does not exist.
int WINAPI MulDiv(int number, int numerator, int denominator);

}  // extern "C"

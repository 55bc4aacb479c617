// Debuggers on this platform take no texts.
#include <windows.h>

extern "C" {

void WINAPI OutputDebugStringA(LPCSTR) {}
void WINAPI OutputDebugStringW(LPCWSTR) {}

}  // extern "C"

// Versions of the system: types and numbers. The operations stand in ScreenCapture/WindowSystem.h.
#pragma once

#include "windef.h"

struct OSVERSIONINFOEXW {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    WCHAR szCSDVersion[128];
    WORD wServicePackMajor;
    WORD wServicePackMinor;
    WORD wSuiteMask;
    BYTE wProductType;
    BYTE wReserved;
};

inline constexpr DWORD VER_MINORVERSION = 0x1;
inline constexpr DWORD VER_MAJORVERSION = 0x2;
inline constexpr DWORD VER_SERVICEPACKMAJOR = 0x20;
inline constexpr BYTE VER_GREATER_EQUAL = 3;

extern "C" {

// Adds a comparison for the one bit of `type` to a mask: three bits a type, in the order of the
// bits.
ULONGLONG WINAPI VerSetConditionMask(ULONGLONG mask, DWORD type, BYTE condition);

}  // extern "C"

// Directories, by names in the file system's own bytes. Inside the library only.
#pragma once

#include "windef.h"

struct SECURITY_ATTRIBUTES;

inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;

extern "C" {

// FILE_ATTRIBUTE_DIRECTORY or FILE_ATTRIBUTE_NORMAL, links followed; INVALID_FILE_ATTRIBUTES if there is nothing there.
DWORD WINAPI GetFileAttributesA(LPCSTR path);

// `security` must be null. False if it exists or cannot be made.
BOOL WINAPI CreateDirectoryA(LPCSTR path, SECURITY_ATTRIBUTES* security);

}  // extern "C"

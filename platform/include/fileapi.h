// Directories, and files that grow; names in the file system's own bytes. Inside the library only.
#pragma once

#include "windef.h"

struct SECURITY_ATTRIBUTES;
struct OVERLAPPED;

inline void* const INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1));

inline constexpr DWORD FILE_APPEND_DATA = 0x4;
inline constexpr DWORD FILE_SHARE_READ = 0x1;
inline constexpr DWORD FILE_SHARE_WRITE = 0x2;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD FILE_END = 2;

inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;

extern "C" {

// FILE_ATTRIBUTE_DIRECTORY or FILE_ATTRIBUTE_NORMAL, links followed; INVALID_FILE_ATTRIBUTES if
// there is nothing there.
DWORD WINAPI GetFileAttributesA(LPCSTR path);

// `security` must be null. False if it exists or cannot be made.
BOOL WINAPI CreateDirectoryA(LPCSTR path, SECURITY_ATTRIBUTES* security);

// Only for appending: `access` must be FILE_APPEND_DATA, `disposition` OPEN_ALWAYS, `security` and
// `pattern` null. Sharing does not apply. INVALID_HANDLE_VALUE if the file cannot be opened or
// made.
HANDLE WINAPI CreateFileA(LPCSTR path, DWORD access, DWORD sharing, SECURITY_ATTRIBUTES* security,
                          DWORD disposition, DWORD attributes, HANDLE pattern);
// `origin` must be FILE_END. `position`, which may be null, becomes the place in the file.
BOOL WINAPI SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER* position,
                             DWORD origin);
// One write, at the file's end. True with fewer bytes than asked if the system took fewer.
// `overlapped` must be null.
BOOL WINAPI WriteFile(HANDLE file, LPCVOID bytes, DWORD length, DWORD* written,
                      OVERLAPPED* overlapped);
BOOL WINAPI FlushFileBuffers(HANDLE file);

// Ends what a handle stands for.
BOOL WINAPI CloseHandle(HANDLE handle);

}  // extern "C"

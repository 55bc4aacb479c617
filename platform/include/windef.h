// The system's basic types. Every integer type has its published width on every platform.
#pragma once

#include <cstddef>
#include <cstdint>

#include "guiddef.h"

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using BOOL = std::int32_t;
using INT = std::int32_t;
using UINT = std::uint32_t;
using UINT8 = std::uint8_t;
using UINT32 = std::uint32_t;
using INT64 = std::int64_t;
using UINT64 = std::uint64_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using USHORT = std::uint16_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using FLOAT = float;
using CHAR = char;
using WCHAR = wchar_t;
using UCHAR = std::uint8_t;
using SHORT = std::int16_t;
using VARIANT_BOOL = std::int16_t;
using HRESULT = std::int32_t;
using SIZE_T = std::size_t;
using ULONG_PTR = std::uintptr_t;
using LPSTR = char*;
using LPCSTR = const char*;
using LPWSTR = wchar_t*;
using LPCWSTR = const wchar_t*;
using LPVOID = void*;
using LPCVOID = const void*;
using HANDLE = void*;
using HGDIOBJ = void*;
using HMODULE = struct HINSTANCE__*;
using HINSTANCE = HMODULE;
using HWND = struct HWND__*;
using HMENU = struct HMENU__*;
using HBRUSH = struct HBRUSH__*;
using HDC = struct HDC__*;
using HBITMAP = struct HBITMAP__*;
using HICON = struct HICON__*;
using HCURSOR = HICON;
using HMONITOR = struct HMONITOR__*;
using FARPROC = std::intptr_t (*)();
using ATOM = WORD;
using LONG_PTR = std::intptr_t;
using DWORD_PTR = std::uintptr_t;
using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;
using LRESULT = std::intptr_t;

struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

union LARGE_INTEGER {
    struct {
        DWORD LowPart;
        LONG HighPart;
    } u;
    LONGLONG QuadPart;
};

union ULARGE_INTEGER {
    struct {
        DWORD LowPart;
        DWORD HighPart;
    } u;
    ULONGLONG QuadPart;
};

struct POINT {
    LONG x;
    LONG y;
};

struct SIZE {
    LONG cx;
    LONG cy;
};

// Right and bottom are excluded.
struct RECT {
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
};

#define STDMETHODCALLTYPE
#define CALLBACK
#define WINAPI

#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif

inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;
inline constexpr DWORD GENERIC_READ = 0x80000000u;
inline constexpr DWORD GENERIC_WRITE = 0x40000000u;

// The console: whether standard output is one, and its colours. Inside the library only.
#pragma once

#include "windef.h"

struct COORD {
    SHORT X;
    SHORT Y;
};

struct SMALL_RECT {
    SHORT Left;
    SHORT Top;
    SHORT Right;
    SHORT Bottom;
};

struct CONSOLE_SCREEN_BUFFER_INFO {
    COORD dwSize;
    COORD dwCursorPosition;
    WORD wAttributes;
    SMALL_RECT srWindow;
    COORD dwMaximumWindowSize;
};

inline constexpr DWORD STD_OUTPUT_HANDLE = static_cast<DWORD>(-11);

inline constexpr WORD FOREGROUND_BLUE = 0x1;
inline constexpr WORD FOREGROUND_GREEN = 0x2;
inline constexpr WORD FOREGROUND_RED = 0x4;
inline constexpr WORD FOREGROUND_INTENSITY = 0x8;

extern "C" {

// `which` must be STD_OUTPUT_HANDLE; null otherwise. The handle is not closed.
HANDLE WINAPI GetStdHandle(DWORD which);

// False if the handle is no terminal. Attributes are those that SetConsoleTextAttribute last set,
// at first all three colours; the cursor's place is not known and stays 0.
BOOL WINAPI GetConsoleScreenBufferInfo(HANDLE console, CONSOLE_SCREEN_BUFFER_INFO* info);

// By escape codes: what a program prints through its own buffers must be flushed before. False if
// the handle is no terminal.
BOOL WINAPI SetConsoleTextAttribute(HANDLE console, WORD attributes);

}  // extern "C"

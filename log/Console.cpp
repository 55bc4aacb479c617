#include "log/Console.h"

#include <windows.h>

#include <cstdio>

#include "vimbrel/AppLog.h"

namespace HalvorixAppLog {

namespace {

// By level, from LOG_LEVEL_INFO on.
constexpr WORD attributes[] = {
    FOREGROUND_BLUE | FOREGROUND_GREEN,
    FOREGROUND_RED | FOREGROUND_GREEN,
    FOREGROUND_RED,
    FOREGROUND_GREEN,
    FOREGROUND_RED | FOREGROUND_BLUE,
};

void Print(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); }

}  // namespace

void PrintColoured(LockHelper& consoleLock, int level, std::string_view text) {
    if (level < LOG_LEVEL_INFO || level > LOG_LEVEL_FATAL) {
        Print(text);
        return;
    }
    const ScopedLock guard(consoleLock);
    HANDLE console = GetStdHandle(STD_OUTPUT_HANDLE);
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!GetConsoleScreenBufferInfo(console, &info)) return;
    // The colour applies to what reaches the console from now on, so nothing may wait in the
    // stream's buffer across a change.
    std::fflush(stdout);
    SetConsoleTextAttribute(console, attributes[level - LOG_LEVEL_INFO]);
    Print(text);
    std::fflush(stdout);
    SetConsoleTextAttribute(console, info.wAttributes);
}

}  // namespace HalvorixAppLog

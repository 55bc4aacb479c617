// The console's colours as escape codes of the terminal.
#include <windows.h>

#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>

namespace {

constexpr WORD all_colours = FOREGROUND_RED | FOREGROUND_GREEN | FOREGROUND_BLUE;

// The terminal cannot be asked for its colours, so the last ones set are kept.
std::atomic<WORD> current_attributes{all_colours};

int standard_output = STDOUT_FILENO;

bool IsTerminal(HANDLE console) { return console == &standard_output && isatty(standard_output); }

// The bits of red and blue have changed places.
int AnsiColour(WORD attributes) {
    return (attributes & FOREGROUND_RED ? 1 : 0) | (attributes & FOREGROUND_GREEN ? 2 : 0) |
           (attributes & FOREGROUND_BLUE ? 4 : 0);
}

}  // namespace

extern "C" {

HANDLE WINAPI GetStdHandle(DWORD which) {
    return which == STD_OUTPUT_HANDLE ? &standard_output : nullptr;
}

BOOL WINAPI GetConsoleScreenBufferInfo(HANDLE console, CONSOLE_SCREEN_BUFFER_INFO* info) {
    if (!IsTerminal(console)) return FALSE;
    winsize size{};
    ioctl(standard_output, TIOCGWINSZ, &size);
    *info = {};
    info->dwSize = info->dwMaximumWindowSize = {static_cast<SHORT>(size.ws_col),
                                                static_cast<SHORT>(size.ws_row)};
    info->srWindow.Right = static_cast<SHORT>(size.ws_col - 1);
    info->srWindow.Bottom = static_cast<SHORT>(size.ws_row - 1);
    info->wAttributes = current_attributes;
    return TRUE;
}

BOOL WINAPI SetConsoleTextAttribute(HANDLE console, WORD attributes) {
    if (!IsTerminal(console)) return FALSE;
    current_attributes = attributes;
    char code[16];
    int length;
    if (attributes == all_colours) {
        // The terminal's own colour rather than white.
        length = std::snprintf(code, sizeof code, "\x1b[0m");
    } else {
        length =
            std::snprintf(code, sizeof code, "\x1b[0;%s3%dm",
                          attributes & FOREGROUND_INTENSITY ? "1;" : "", AnsiColour(attributes));
    }
    return write(standard_output, code, static_cast<std::size_t>(length)) == length;
}

}  // extern "C"

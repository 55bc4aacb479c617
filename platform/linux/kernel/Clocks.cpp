// Clocks and ids on POSIX calls.
#include <mmsystem.h>
#include <windows.h>

#include <errno.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr LONGLONG ticks_per_second = 10'000'000;
// From 1601-01-01 to 1970-01-01, in 100 nanoseconds.
constexpr ULONGLONG epoch_difference = 116'444'736'000'000'000;

timespec Read(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return now;
}

}  // namespace

extern "C" {

// The counter ticks in 100 nanoseconds, as it commonly does on the other platform: users multiply
// it by 1000 in 64 bits.
BOOL WINAPI QueryPerformanceCounter(LARGE_INTEGER* count) {
    const timespec now = Read(CLOCK_MONOTONIC);
    count->QuadPart = now.tv_sec * ticks_per_second + now.tv_nsec / 100;
    return TRUE;
}

BOOL WINAPI QueryPerformanceFrequency(LARGE_INTEGER* frequency) {
    frequency->QuadPart = ticks_per_second;
    return TRUE;
}

DWORD WINAPI timeGetTime() {
    const timespec now = Read(CLOCK_MONOTONIC);
    return static_cast<DWORD>(static_cast<ULONGLONG>(now.tv_sec) * 1000 +
                              static_cast<ULONGLONG>(now.tv_nsec) / 1'000'000);
}

void WINAPI GetSystemTimeAsFileTime(FILETIME* time) {
    const timespec now = Read(CLOCK_REALTIME);
    const ULONGLONG units = static_cast<ULONGLONG>(now.tv_sec) * 10'000'000 +
                            static_cast<DWORD>(now.tv_nsec) / 100 + epoch_difference;
    time->dwLowDateTime = static_cast<DWORD>(units);
    time->dwHighDateTime = static_cast<DWORD>(units >> 32);
}

DWORD WINAPI GetCurrentThreadId() {
    thread_local DWORD id = 0;
    if (id == 0) id = static_cast<DWORD>(syscall(SYS_gettid));
    return id;
}

DWORD WINAPI GetCurrentProcessId() { return static_cast<DWORD>(getpid()); }

void WINAPI Sleep(DWORD milliseconds) {
    timespec rest = {static_cast<time_t>(milliseconds / 1000),
                     static_cast<long>(milliseconds % 1000) * 1'000'000};
    while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {
    }
}

}  // extern "C"

// Critical sections, events and waiting for them. Inside the library only.
#pragma once

#include <pthread.h>

#include "windef.h"

struct SECURITY_ATTRIBUTES;

// A lock that its owner may take again. Not to be copied or moved.
struct CRITICAL_SECTION {
    pthread_mutex_t mutex;
};

inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

extern "C" {

void WINAPI InitializeCriticalSection(CRITICAL_SECTION* section);
void WINAPI EnterCriticalSection(CRITICAL_SECTION* section);
BOOL WINAPI TryEnterCriticalSection(CRITICAL_SECTION* section);
void WINAPI LeaveCriticalSection(CRITICAL_SECTION* section);
void WINAPI DeleteCriticalSection(CRITICAL_SECTION* section);

// `security` and `name` must be null. An event that is not manual is cleared by the wait that it
// ends. Null if the process has no file descriptor left: each event holds one.
HANDLE WINAPI CreateEventW(SECURITY_ATTRIBUTES* security, BOOL manual_reset, BOOL initial_state,
                           LPCWSTR name);
BOOL WINAPI SetEvent(HANDLE event);
BOOL WINAPI ResetEvent(HANDLE event);

void WINAPI Sleep(DWORD milliseconds);

// WAIT_OBJECT_0, WAIT_TIMEOUT, or WAIT_FAILED for a handle that cannot be waited for.
DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds);
// For the first of `count` handles that is signalled, the earlier one of several: WAIT_OBJECT_0 and
// its index. `all` must be FALSE, `count` below MAXIMUM_WAIT_OBJECTS; WAIT_FAILED otherwise.
DWORD WINAPI WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL all,
                                    DWORD milliseconds);

}  // extern "C"

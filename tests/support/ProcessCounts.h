// What the process holds at the moment.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>

#include "tests/support/WaitUntil.h"

#ifdef _WIN32
#include <windows.h>

#include <tlhelp32.h>
#else
#include <malloc.h>

#include <filesystem>
#endif

namespace Vimbrel::test {

struct ProcessCounts {
    std::size_t handles = 0;  // open ones, at least; descriptors on Linux
    std::size_t threads = 0;
    std::size_t memory = 0;  // bytes in use on the heaps

    static ProcessCounts Now();
};

#ifdef _WIN32
inline std::size_t BytesInUse(HANDLE heap) {
    std::size_t bytes = 0;
    PROCESS_HEAP_ENTRY entry{};
    HeapLock(heap);
    while (HeapWalk(heap, &entry)) {
        if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
    }
    HeapUnlock(heap);
    return bytes;
}

inline ProcessCounts ProcessCounts::Now() {
    ProcessCounts counts;
    HANDLE heaps[64];
    const DWORD count = GetProcessHeaps(64, heaps);
    for (DWORD i = 0; i < count && i < 64; ++i) counts.memory += BytesInUse(heaps[i]);
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 thread{};
    thread.dwSize = sizeof thread;
    for (BOOL more = Thread32First(snapshot, &thread); more;
         more = Thread32Next(snapshot, &thread)) {
        if (thread.th32OwnerProcessID == GetCurrentProcessId()) ++counts.threads;
    }
    CloseHandle(snapshot);
    // The lowest free number, because Wine does not count handles.
    const HANDLE next = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    counts.handles = reinterpret_cast<std::size_t>(next) / 4;
    CloseHandle(next);
    return counts;
}
#else
inline ProcessCounts ProcessCounts::Now() {
    const auto entries = [](const char* folder) {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(folder), {}));
    };
    return {entries("/proc/self/fd"), entries("/proc/self/task"), mallinfo2().uordblks};
}
#endif

// What came since `before` has gone again, but for some bytes that a heap keeps.
inline void ExpectNothingLeft(const ProcessCounts& before, std::size_t bytes = 4096) {
    // A thread that was joined may be listed for a moment.
    EXPECT_TRUE(WaitUntil([&] { return ProcessCounts::Now().threads <= before.threads; }));
    const ProcessCounts after = ProcessCounts::Now();
    EXPECT_LE(after.handles, before.handles);
    EXPECT_LE(after.memory, before.memory + bytes);
    std::printf("%zu -> %zu handles, %zu -> %zu threads, %zu -> %zu bytes\n", before.handles,
                after.handles, before.threads, after.threads, before.memory, after.memory);
}

}  // namespace Vimbrel::test

// Holding a critical section.
#pragma once

#include <windows.h>

#include "base/ThreadSafety.h"

namespace Vimbrel {

// A critical section for as long as something refers to it. Its owner may enter it again.
class CAPABILITY("critical section") CriticalSection {
public:
    CriticalSection() { InitializeCriticalSection(&section); }
    ~CriticalSection() { DeleteCriticalSection(&section); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void Enter() ACQUIRE() { EnterCriticalSection(&section); }
    void Leave() RELEASE() { LeaveCriticalSection(&section); }

private:
    CRITICAL_SECTION section;
};

class SCOPED_CAPABILITY CriticalSectionLock {
public:
    explicit CriticalSectionLock(CriticalSection& held) ACQUIRE(held) : section(held) {
        section.Enter();
    }
    ~CriticalSectionLock() RELEASE() { section.Leave(); }
    CriticalSectionLock(const CriticalSectionLock&) = delete;
    CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

private:
    CriticalSection& section;
};

}  // namespace Vimbrel

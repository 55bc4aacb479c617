// Holding a critical section.
#pragma once

#include <windows.h>

namespace Vimbrel {

// A critical section for as long as something refers to it. It may be entered again by its owner.
class CriticalSection {
public:
    CriticalSection() { InitializeCriticalSection(&section); }
    ~CriticalSection() { DeleteCriticalSection(&section); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    CRITICAL_SECTION* Get() { return &section; }

private:
    CRITICAL_SECTION section;
};

class CriticalSectionLock {
public:
    explicit CriticalSectionLock(CRITICAL_SECTION* held) : section(held) {
        EnterCriticalSection(section);
    }
    ~CriticalSectionLock() { LeaveCriticalSection(section); }
    CriticalSectionLock(const CriticalSectionLock&) = delete;
    CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

private:
    CRITICAL_SECTION* section;
};

}  // namespace Vimbrel

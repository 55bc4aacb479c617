// The lock of the logger.
#pragma once

#include "base/ThreadSafety.h"

namespace HalvorixAppLog {

class CAPABILITY("mutex") LockHelper {
public:
    virtual ~LockHelper() = default;

    void Enter() ACQUIRE() { section.Lock(); }
    void Leave() RELEASE() { section.Unlock(); }

private:
    Vimbrel::Mutex section;
};

// Enters for the length of a scope.
class SCOPED_CAPABILITY ScopedLock {
public:
    explicit ScopedLock(LockHelper& guarded) ACQUIRE(guarded) : lock(guarded) { lock.Enter(); }
    ~ScopedLock() RELEASE() { lock.Leave(); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    LockHelper& lock;
};

}  // namespace HalvorixAppLog

// The lock of the logger.
#pragma once

#include <mutex>

namespace HalvorixAppLog {

class LockHelper {
public:
    virtual ~LockHelper() = default;

    void Enter() { section.lock(); }
    void Leave() { section.unlock(); }

private:
    std::mutex section;
};

// Enters for the length of a scope.
template <class Lock>
class ScopedLock {
public:
    explicit ScopedLock(Lock& guarded) : lock(guarded) { lock.Enter(); }
    ~ScopedLock() { lock.Leave(); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    Lock& lock;
};

}  // namespace HalvorixAppLog

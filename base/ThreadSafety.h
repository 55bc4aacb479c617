// A mutex, its lock and a condition that clang's thread-safety analysis understands. For other
// compilers the annotations are empty.
//
// The analysis looks at a lambda as if no lock were held: waits are `while` loops around
// Condition::Wait, and what a lambda needs of guarded members is copied before it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define VIMBREL_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define VIMBREL_THREAD_ANNOTATION(x)
#endif

// On a member: read and written only while that mutex is held. The second is for what a pointer
// points to.
#define GUARDED_BY(...) VIMBREL_THREAD_ANNOTATION(guarded_by(__VA_ARGS__))
#define PT_GUARDED_BY(...) VIMBREL_THREAD_ANNOTATION(pt_guarded_by(__VA_ARGS__))
// On a mutex: its place in the order of locks.
#define ACQUIRED_BEFORE(...) VIMBREL_THREAD_ANNOTATION(acquired_before(__VA_ARGS__))
#define ACQUIRED_AFTER(...) VIMBREL_THREAD_ANNOTATION(acquired_after(__VA_ARGS__))
// On a function: the caller holds the mutex, or must not hold it.
#define REQUIRES(...) VIMBREL_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) VIMBREL_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
// On a function that locks or unlocks.
#define ACQUIRE(...) VIMBREL_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) VIMBREL_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define RELEASE(...) VIMBREL_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define CAPABILITY(x) VIMBREL_THREAD_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY VIMBREL_THREAD_ANNOTATION(scoped_lockable)
#define RETURN_CAPABILITY(x) VIMBREL_THREAD_ANNOTATION(lock_returned(x))
// Switches the analysis off for a function; a comment beside it says why.
#define NO_THREAD_SAFETY_ANALYSIS VIMBREL_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace Vimbrel {

class CAPABILITY("mutex") Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void Lock() ACQUIRE() { mutex_.lock(); }
    bool TryLock() TRY_ACQUIRE(true) { return mutex_.try_lock(); }
    void Unlock() RELEASE() { mutex_.unlock(); }

private:
    friend class MutexLock;

    std::mutex mutex_;
};

// Holds a mutex until it is destroyed; may release it and take it again in between.
class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : lock_(mutex.mutex_) {}
    ~MutexLock() RELEASE() = default;
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    void Lock() ACQUIRE() { lock_.lock(); }
    void Unlock() RELEASE() { lock_.unlock(); }

private:
    friend class Condition;

    std::unique_lock<std::mutex> lock_;
};

// Waits may end without a notification: the caller checks its condition again.
class Condition {
public:
    void Wait(MutexLock& lock) { condition_.wait(lock.lock_); }

    // False if the time came first.
    template <class Clock, class Duration>
    bool WaitUntil(MutexLock& lock, const std::chrono::time_point<Clock, Duration>& time) {
        return condition_.wait_until(lock.lock_, time) == std::cv_status::no_timeout;
    }

    void NotifyOne() { condition_.notify_one(); }
    void NotifyAll() { condition_.notify_all(); }

private:
    std::condition_variable condition_;
};

}  // namespace Vimbrel

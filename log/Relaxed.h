// A value that threads read and write without a lock and without an order between them.
#pragma once

#include <atomic>

namespace HalvorixAppLog {

// Reads and writes like a plain field and costs as much, but is no data race. Loggers' settings and
// the counters of the statistics are such fields by design: a late view lets at most one record
// through or drops it.
template <class T>
class Relaxed {
public:
    constexpr Relaxed(T initial = T()) : value(initial) {}

    operator T() const { return value.load(std::memory_order_relaxed); }
    Relaxed& operator=(T replacement) {
        value.store(replacement, std::memory_order_relaxed);
        return *this;
    }
    // For values with one writer at a time, as the file statistics under logLock: not one atomic
    // step.
    void Add(T amount) { *this = static_cast<T>(*this + amount); }

private:
    std::atomic<T> value;
};

}  // namespace HalvorixAppLog

// Counts the calls of operator new, and lets them fail. A test program that uses it compiles
// AllocationCounter.cpp in.
#pragma once

#include <cstdint>

namespace Vimbrel::test {

// Since the program's start, by all threads.
std::uint64_t AllocationCount();

// While it lives, operator new fails on this thread after so many calls.
class ScopedAllocationFailure {
public:
    explicit ScopedAllocationFailure(int successes);
    ~ScopedAllocationFailure();
    ScopedAllocationFailure(const ScopedAllocationFailure&) = delete;
    ScopedAllocationFailure& operator=(const ScopedAllocationFailure&) = delete;

    // Whether a call failed.
    bool HasFailed() const;
};

// While it lives, one call of operator new fails on one of the threads that it does not live on:
// the call after so many.
class ScopedFailureElsewhere {
public:
    explicit ScopedFailureElsewhere(int successes);
    ~ScopedFailureElsewhere();
    ScopedFailureElsewhere(const ScopedFailureElsewhere&) = delete;
    ScopedFailureElsewhere& operator=(const ScopedFailureElsewhere&) = delete;

    // Whether the call failed.
    bool HasFailed() const;
};

}  // namespace Vimbrel::test

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

}  // namespace Vimbrel::test

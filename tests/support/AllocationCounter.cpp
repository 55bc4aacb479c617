#include "tests/support/AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::uint64_t> allocations{0};

constexpr int no_limit = -1;
thread_local int successes_left = no_limit;
thread_local bool has_failed = false;

// Of all threads but those that are spared.
constexpr int far_from_failure = 1 << 30;
std::atomic<int> elsewhere_left{far_from_failure};
thread_local bool is_spared = false;

void* Allocate(std::size_t size) {
    ++allocations;
    if (successes_left == 0) {
        has_failed = true;
        return nullptr;
    }
    if (successes_left > 0) --successes_left;
    if (!is_spared && elsewhere_left < far_from_failure && elsewhere_left-- == 0) return nullptr;
    return std::malloc(size ? size : 1);
}

}  // namespace

namespace Vimbrel::test {

std::uint64_t AllocationCount() { return allocations; }

ScopedAllocationFailure::ScopedAllocationFailure(int successes) {
    has_failed = false;
    successes_left = successes;
}

ScopedAllocationFailure::~ScopedAllocationFailure() { successes_left = no_limit; }

bool ScopedAllocationFailure::HasFailed() const { return has_failed; }

ScopedFailureElsewhere::ScopedFailureElsewhere(int successes) {
    is_spared = true;
    elsewhere_left = successes;
}

ScopedFailureElsewhere::~ScopedFailureElsewhere() {
    elsewhere_left = far_from_failure;
    is_spared = false;
}

bool ScopedFailureElsewhere::HasFailed() const { return elsewhere_left < 0; }

}  // namespace Vimbrel::test

void* operator new(std::size_t size) {
    if (void* memory = Allocate(size)) return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

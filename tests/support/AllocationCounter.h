// Counts the calls of operator new. A test program that uses it compiles AllocationCounter.cpp in.
#pragma once

#include <cstdint>

namespace Vimbrel::test {

// Since the program's start, by all threads.
std::uint64_t AllocationCount();

}  // namespace Vimbrel::test

// Calls under want of memory.
#pragma once

#include <gtest/gtest.h>

#include "tests/support/AllocationCounter.h"

namespace Vimbrel::test {

// Repeats the call with each number of allocations that succeed before one fails.
template <class Call>
void ExpectNoThrow(const char* what, Call call) {
    bool failed = true;
    for (int successes = 0; failed && successes < 100; ++successes) {
        EXPECT_NO_THROW({
            const ScopedAllocationFailure scarce(successes);
            call();
            failed = scarce.HasFailed();
        }) << what
           << " after " << successes;
    }
    EXPECT_FALSE(failed) << what;
}

}  // namespace Vimbrel::test

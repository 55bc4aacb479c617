// The clocks of sources and recorders; tests replace them here.
#pragma once

#include <cstdint>

#include "base/Replaceable.h"

namespace Vimbrel {

class Clock {
public:
    // A monotonic counter, and its ticks per second.
    virtual std::int64_t PerformanceCounter() = 0;
    virtual std::int64_t PerformanceFrequency() = 0;
    // Milliseconds, wrapping after 2^32.
    virtual std::uint32_t TimeMilliseconds() = 0;

    // The monotonic counter in units of 100 ns, computed in double precision and truncated.
    std::int64_t Now();

    // The system's clock, or the one that a ScopedClock put in its place.
    static Clock& Current();

protected:
    ~Clock() = default;
};

// Replaces Clock::Current until it is destroyed.
using ScopedClock = ScopedReplacement<Clock>;

}  // namespace Vimbrel

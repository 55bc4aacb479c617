// A clock that stands still until it is moved.
#pragma once

#include <atomic>

#include "base/Clock.h"

namespace Vimbrel::test {

class ManualClock final : public Clock {
public:
    std::int64_t PerformanceCounter() override { return now.load(); }
    std::int64_t PerformanceFrequency() override { return 10'000'000; }
    std::uint32_t TimeMilliseconds() override {
        return static_cast<std::uint32_t>(now.load() / units_per_ms);
    }

    void Advance(std::int64_t milliseconds) { now += milliseconds * units_per_ms; }
    // By units of 100 ns.
    void AdvanceUnits(std::int64_t units) { now += units; }

private:
    static constexpr std::int64_t units_per_ms = 10'000;

    std::atomic<std::int64_t> now{1'000'000 * units_per_ms};
};

}  // namespace Vimbrel::test

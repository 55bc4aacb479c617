// A clock that stands still until it is moved.
#pragma once

#include <atomic>

#include "base/Clock.h"

namespace Vimbrel::test {

class ManualClock final : public Clock {
public:
    std::int64_t PerformanceCounter() override {
        return now_ms.load() * (PerformanceFrequency() / 1000);
    }
    std::int64_t PerformanceFrequency() override { return 10'000'000; }
    std::uint32_t TimeMilliseconds() override { return static_cast<std::uint32_t>(now_ms.load()); }

    void Advance(std::int64_t milliseconds) { now_ms += milliseconds; }

private:
    std::atomic<std::int64_t> now_ms{1'000'000};
};

}  // namespace Vimbrel::test

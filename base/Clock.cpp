#include "base/Clock.h"

#include <windows.h>

#include <mmsystem.h>

namespace Vimbrel {

namespace {

class SystemClock final : public Clock {
public:
    std::int64_t PerformanceCounter() override {
        LARGE_INTEGER count;
        QueryPerformanceCounter(&count);
        return count.QuadPart;
    }

    std::int64_t PerformanceFrequency() override {
        LARGE_INTEGER frequency;
        QueryPerformanceFrequency(&frequency);
        return frequency.QuadPart;
    }

    std::uint32_t TimeMilliseconds() override { return timeGetTime(); }
};

SystemClock system_clock;

}  // namespace

std::int64_t Clock::Now() {
    return static_cast<std::int64_t>(static_cast<double>(PerformanceCounter()) /
                                     static_cast<double>(PerformanceFrequency()) * 1e7);
}

Clock& Clock::Current() {
    Clock* const replacement = ScopedClock::Current();
    return replacement ? *replacement : system_clock;
}

}  // namespace Vimbrel

// The wall clock and the local calendar; tests replace both here.
#pragma once

#include <cstdint>
#include <ctime>

namespace HalvorixAppLog {

class LogClock {
public:
    // 100-nanosecond units since 1601-01-01 UTC.
    virtual std::uint64_t FileTime() = 0;
    // `time` is in seconds since 1970-01-01 UTC.
    virtual std::tm LocalTime(std::int64_t time) = 0;
    // The time at which the local day of `day` began, on a clock with the daylight saving of `day`.
    virtual std::int64_t Midnight(const std::tm& day) = 0;
    virtual void Sleep(int milliseconds) = 0;

    // The same, since 1970-01-01 UTC.
    struct Moment {
        std::int64_t seconds;
        std::uint32_t milliseconds;  // within the second
    };
    Moment Now() {
        const std::uint64_t units = FileTime();
        const std::uint64_t seconds = units / units_per_second;
        return {static_cast<std::int64_t>(seconds) - epoch_difference,
                static_cast<std::uint32_t>(units - seconds * units_per_second) / 10'000};
    }

    static LogClock& System();

private:
    static constexpr std::uint64_t units_per_second = 10'000'000;
    // From 1601 to 1970, in seconds.
    static constexpr std::int64_t epoch_difference = 11'644'473'600;

protected:
    ~LogClock() = default;
};

}  // namespace HalvorixAppLog

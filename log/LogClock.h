// The wall clock and the local calendar, behind one point where a test can hold them still.
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
    // The time at which the local day of `day` began.
    virtual std::int64_t Midnight(const std::tm& day) = 0;
    virtual void Sleep(int milliseconds) = 0;

    // Since 1970-01-01 UTC.
    std::int64_t Milliseconds();
    std::int64_t Seconds() { return Milliseconds() / 1000; }

    static LogClock& System();

protected:
    ~LogClock() = default;
};

}  // namespace HalvorixAppLog

#include "log/LogClock.h"

#include <windows.h>

#include <chrono>
#include <thread>

namespace HalvorixAppLog {

namespace {

class SystemLogClock final : public LogClock {
public:
    std::uint64_t FileTime() override {
        FILETIME time;
        GetSystemTimeAsFileTime(&time);
        return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
    }

    std::tm LocalTime(std::int64_t time) override {
        const std::time_t seconds = static_cast<std::time_t>(time);
        std::tm local{};
        localtime_r(&seconds, &local);
        return local;
    }

    std::int64_t Midnight(const std::tm& day) override {
        std::tm start = day;
        start.tm_sec = start.tm_min = start.tm_hour = 0;
        // Daylight saving is that of the moment asked about, so that the time since this midnight
        // is the clock's on the day of a change, too.
        return std::mktime(&start);
    }

    void Sleep(int milliseconds) override {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    }
};

}  // namespace

LogClock& LogClock::System() {
    static SystemLogClock clock;
    return clock;
}

}  // namespace HalvorixAppLog

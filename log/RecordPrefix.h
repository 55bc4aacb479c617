// What stands in front of a record's text: date, time, thread and level.
#pragma once

#include <cstdint>
#include <ctime>

#include "log/LogClock.h"
#include "vimbrel/AppLog.h"

namespace HalvorixAppLog {

// The calendar of the day of the last record, so that most records cost no calendar arithmetic.
class DayCache {
public:
    // Has the local day of `time`.
    void Refresh(std::int64_t time, LogClock& clock) {
        if (time < midnight || time >= midnight + 86400) Load(time, clock);
    }
    const std::tm& Day() const { return day; }
    // Kept: hours are counted from the cached midnight on, because that saves the calendar
    // arithmetic. A thread that has logged before a change of daylight saving keeps the old clock
    // to the day's end: a day of 25 hours ends with an hour 24.
    std::int64_t SecondsOfDay(std::int64_t time) const { return time - midnight; }

private:
    void Load(std::int64_t time, LogClock& clock);

    std::int64_t midnight = INT64_MIN / 2;
    std::tm day{};
};

// Writes prefixes. One per thread: records come in bursts, so the texts of the last second and of
// the thread serve again.
class RecordPrefix {
public:
    // Writes the prefix of `record`, whose level, time and thread are set, as its whole content.
    void Write(LogRecord& record, LogClock& clock);

private:
    void WriteSecond(std::int64_t time, LogClock& clock);
    void WriteThread(std::uint32_t threadId);

    DayCache days;
    std::int64_t second = INT64_MIN;
    std::uint32_t thread = 0;
    std::uint32_t secondLength = 0;
    std::uint32_t threadLength = 0;
    char secondText[96];
    char threadText[96];
};

}  // namespace HalvorixAppLog

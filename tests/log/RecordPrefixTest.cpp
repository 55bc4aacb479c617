#include "log/RecordPrefix.h"

#include <cstdlib>
#include <memory>

#include "tests/log/LogFixture.h"

namespace HalvorixAppLog {
namespace {

constexpr std::int64_t hour = 3600;

std::string Prefix(RecordPrefix& prefix, LogClock& clock, std::int64_t time,
                   std::uint32_t precise = 0, std::uint32_t thread = 1, int level = 0) {
    const auto record = std::make_unique<LogRecord>();
    record->time = time;
    record->precise = precise;
    record->threadId = thread;
    record->level = level;
    prefix.Write(*record, clock);
    return std::string(record->content, static_cast<std::size_t>(record->contentLength));
}

TEST(RecordPrefix, Form) {
    FakeLogClock clock;
    RecordPrefix prefix;
    constexpr std::int64_t time = 1'744'290'429;
    EXPECT_EQ(Prefix(prefix, clock, time, 42, 1234, LOG_LEVEL_ERROR),
              "2025-04-10 13:07:09.042 [1234] [ERROR] ");
    EXPECT_EQ(Prefix(prefix, clock, time, 999, 7, LOG_LEVEL_INFO),
              "2025-04-10 13:07:09.999 [0007] [INFO]  ");
    EXPECT_EQ(Prefix(prefix, clock, time, 0, 4294967295u, LOG_LEVEL_WARN),
              "2025-04-10 13:07:09.000 [4294967295] [WARN]  ");
    EXPECT_EQ(Prefix(prefix, clock, time + 1, 0, 4294967295u, LOG_LEVEL_FATAL),
              "2025-04-10 13:07:10.000 [4294967295] [FATAL] ");
    EXPECT_EQ(Prefix(prefix, clock, time, 5, 1, 99), "2025-04-10 13:07:09.005 [0001] [FATAL] ");
    EXPECT_EQ(Prefix(prefix, clock, 0, 5, 0, -1), "1970-01-01 00:00:00.005 [0000] [TRACE] ");
}

// Across a change of daylight saving the clock of the day's beginning goes on to the day's end.
TEST(RecordPrefix, ChangeOfDaylightSaving) {
    constexpr std::int64_t autumn = 1'761'436'800;  // 2025-10-26 00:00 UTC
    FakeLogClock clock;
    clock.offset = [](std::int64_t time) { return time < autumn + 1 * hour ? 2 * hour : 1 * hour; };
    constexpr std::int64_t long_day = autumn - 2 * hour;  // its midnight; the day has 25 hours
    RecordPrefix prefix;
    EXPECT_EQ(Prefix(prefix, clock, long_day + 1 * hour).substr(0, 19), "2025-10-26 01:00:00");
    EXPECT_EQ(Prefix(prefix, clock, long_day + 12 * hour).substr(0, 19),
              "2025-10-26 12:00:00");  // 11:00 by the new clock
    EXPECT_EQ(Prefix(prefix, clock, long_day + 24 * hour + 60).substr(0, 19),
              "2025-10-26 24:01:00");
    EXPECT_EQ(Prefix(prefix, clock, long_day + 25 * hour).substr(0, 19), "2025-10-27 00:00:00");
    // Also for a thread that logs for the first time behind the change.
    RecordPrefix late;
    EXPECT_EQ(Prefix(late, clock, long_day + 12 * hour).substr(0, 19), "2025-10-26 12:00:00");

    constexpr std::int64_t spring = 1'743'292'800;  // 2025-03-30 00:00 UTC
    clock.offset = [](std::int64_t time) { return time < spring + 1 * hour ? 1 * hour : 2 * hour; };
    constexpr std::int64_t short_day = spring - 1 * hour;  // 23 hours
    EXPECT_EQ(Prefix(prefix, clock, short_day + 22 * hour).substr(0, 19), "2025-03-30 22:00:00");
    EXPECT_EQ(Prefix(prefix, clock, short_day + 23 * hour).substr(0, 19),
              "2025-03-30 23:00:00");  // the next day by the calendar
    EXPECT_EQ(Prefix(prefix, clock, short_day + 24 * hour).substr(0, 19), "2025-03-31 01:00:00");
}

TEST(LogClock, SystemCalendarAndTime) {
    LogClock& clock = LogClock::System();
    const LogClock::Moment now = clock.Now();
    EXPECT_NEAR(static_cast<double>(now.seconds), static_cast<double>(std::time(nullptr)), 1);
    EXPECT_LT(now.milliseconds, 1000u);

    const std::tm today = clock.LocalTime(now.seconds);
    const std::tm midnight = clock.LocalTime(clock.Midnight(today));
    EXPECT_EQ(midnight.tm_mday, today.tm_mday);
    EXPECT_EQ(midnight.tm_hour * 3600 + midnight.tm_min * 60 + midnight.tm_sec, 0);
#ifndef _WIN32
    // The other system reads its zones from elsewhere.
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
    constexpr std::int64_t noon = 1'761'436'800 + 12 * hour;  // 2025-10-26, behind the change
    EXPECT_EQ(clock.Midnight(clock.LocalTime(noon)), 1'761'436'800 - 2 * hour);
    unsetenv("TZ");
    tzset();
#endif
}

}  // namespace
}  // namespace HalvorixAppLog

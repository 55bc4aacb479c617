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

// A thread that logged before a change of daylight saving keeps the old clock for 24 hours from
// midnight; one that logs for the first time after it has the new clock.
TEST(RecordPrefix, ChangeOfDaylightSaving) {
    struct Line {
        std::int64_t after_midnight;
        const char* early;
        const char* late;
    };
    const struct {
        std::int64_t midnight, change, before, after;
        std::vector<Line> lines;
    } days[] = {
        // 2025-10-26 has 25 hours.
        {1'761'429'600,
         1'761'440'400,
         2 * hour,
         1 * hour,
         {{12 * hour, "2025-10-26 12:00:00", "2025-10-26 11:00:00"},
          {24 * hour + 60, "2025-10-26 23:01:00", "2025-10-26 23:01:00"},
          {25 * hour, "2025-10-27 00:00:00", "2025-10-27 00:00:00"}}},
        // 2025-03-30 has 23 hours.
        {1'743'289'200,
         1'743'296'400,
         1 * hour,
         2 * hour,
         {{22 * hour, "2025-03-30 22:00:00", "2025-03-30 23:00:00"},
          {23 * hour, "2025-03-30 23:00:00", "2025-03-31 00:00:00"},
          {24 * hour, "2025-03-31 01:00:00", "2025-03-31 01:00:00"}}},
    };
    for (const auto& day : days) {
        FakeLogClock clock;
        clock.offset = [&](std::int64_t time) {
            return time < day.change ? day.before : day.after;
        };
        RecordPrefix early;
        EXPECT_EQ(Prefix(early, clock, day.midnight + 1 * hour).substr(11, 8), "01:00:00");
        for (const Line& line : day.lines) {
            const std::int64_t time = day.midnight + line.after_midnight;
            EXPECT_EQ(Prefix(early, clock, time).substr(0, 19), line.early);
            RecordPrefix late;
            EXPECT_EQ(Prefix(late, clock, time).substr(0, 19), line.late);
        }
    }
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
    constexpr std::int64_t noon = 1'761'476'400;  // 2025-10-26 12:00, after the change
    EXPECT_EQ(clock.Midnight(clock.LocalTime(noon)), noon - 12 * hour);
    EXPECT_EQ(clock.Midnight(clock.LocalTime(noon - 11 * hour)), noon - 13 * hour);
    unsetenv("TZ");
    tzset();
#endif
}

}  // namespace
}  // namespace HalvorixAppLog

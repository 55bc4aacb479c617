#include "log/RecordPrefix.h"

#include <algorithm>
#include <cstring>

#include "log/NumberWriter.h"

namespace HalvorixAppLog {

namespace {

// All of one length, with the blank between tag and text.
constexpr char tags[][9] = {"[TRACE] ", "[DEBUG] ", "[INFO]  ", "[WARN]  ",
                            "[ERROR] ", "[ALARM] ", "[FATAL] "};

// As far as these texts can grow; what is copied is a fixed number of bytes, which costs less than
// asking.
constexpr std::size_t second_room = 32;
constexpr std::size_t thread_room = 16;

}  // namespace

void DayCache::Load(std::int64_t time, LogClock& clock) {
    day = clock.LocalTime(time);
    midnight = clock.Midnight(day);
}

void RecordPrefix::WriteSecond(std::int64_t time, LogClock& clock) {
    days.Refresh(time, clock);
    const std::tm& day = days.Day();
    const std::uint64_t seconds = static_cast<std::uint64_t>(days.SecondsOfDay(time));
    char* at = secondText;
    const char* const end = secondText + sizeof secondText;
    const auto write = [&](std::uint64_t number, int width, char separator) {
        at = WriteNumber(at, end, number, width);
        *at++ = separator;
    };
    write(static_cast<std::uint64_t>(day.tm_year + 1900), 4, '-');
    write(static_cast<std::uint64_t>(day.tm_mon + 1), 2, '-');
    write(static_cast<std::uint64_t>(day.tm_mday), 2, ' ');
    write(seconds / 3600, 2, ':');
    write(seconds % 3600 / 60, 2, ':');
    write(seconds % 60, 2, '.');
    secondLength = static_cast<std::uint32_t>(at - secondText);
    second = time;
}

void RecordPrefix::WriteThread(std::uint32_t threadId) {
    char* at = threadText;
    *at++ = ' ';
    *at++ = '[';
    at = WriteNumber(at, threadText + sizeof threadText, threadId, 4);
    *at++ = ']';
    *at++ = ' ';
    threadLength = static_cast<std::uint32_t>(at - threadText);
    thread = threadId;
}

void RecordPrefix::Write(LogRecord& record, LogClock& clock) {
    if (record.time != second) WriteSecond(record.time, clock);
    if (record.threadId != thread || threadLength == 0) WriteThread(record.threadId);
    char* at = record.content;
    std::memcpy(at, secondText, second_room);
    at += secondLength;
    *at++ = static_cast<char>('0' + record.precise / 100);
    at = WritePair(at, record.precise % 100);
    std::memcpy(at, threadText, thread_room);
    at += threadLength;
    // A level that has no tag, which only a caller's own number can be, takes the nearest one.
    std::memcpy(at, tags[std::clamp<std::int32_t>(record.level, LOG_LEVEL_TRACE, LOG_LEVEL_FATAL)],
                8);
    record.contentLength = static_cast<std::int32_t>(at + 8 - record.content);
}

}  // namespace HalvorixAppLog

#include "log/RecordPrefix.h"

#include <algorithm>
#include <cstring>

#include "log/NumberWriter.h"

namespace HalvorixAppLog {

namespace {

// All of one length, with the blank between tag and text.
constexpr char tags[][9] = {"[TRACE] ", "[DEBUG] ", "[INFO]  ", "[WARN]  ", "[ERROR] ", "[ALARM] ", "[FATAL] "};

char* WriteTwo(char* position, const char* end, std::uint64_t number) {
    return number < 100 ? WritePair(position, static_cast<unsigned>(number)) : WriteNumber(position, end, number, 2);
}

}  // namespace

void DayCache::Load(std::int64_t time, LogClock& clock) {
    day = clock.LocalTime(time);
    midnight = clock.Midnight(day);
}

void WritePrefix(LogRecord& record, const DayCache& cache) {
    char* at = record.content;
    const char* const end = at + LOG_TEXT_CAPACITY;
    const std::tm& day = cache.Day();
    const std::uint64_t year = static_cast<std::uint64_t>(day.tm_year + 1900);
    const std::uint64_t seconds = static_cast<std::uint64_t>(cache.SecondsOfDay(record.time));

    at = WriteTwo(at, end, year / 100);
    at = WriteTwo(at, end, year % 100);
    *at++ = '-';
    at = WriteTwo(at, end, static_cast<std::uint64_t>(day.tm_mon + 1));
    *at++ = '-';
    at = WriteTwo(at, end, static_cast<std::uint64_t>(day.tm_mday));
    *at++ = ' ';
    at = WriteTwo(at, end, seconds / 3600);
    *at++ = ':';
    at = WriteTwo(at, end, seconds % 3600 / 60);
    *at++ = ':';
    at = WriteTwo(at, end, seconds % 60);
    *at++ = '.';
    *at++ = static_cast<char>('0' + record.precise / 100);
    at = WritePair(at, record.precise % 100);
    *at++ = ' ';
    *at++ = '[';
    at = WriteNumber(at, end, record.threadId, 4);
    *at++ = ']';
    *at++ = ' ';
    // A level that has no tag, which only a caller's own number can be, takes the nearest one.
    std::memcpy(at, tags[std::clamp<std::int32_t>(record.level, LOG_LEVEL_TRACE, LOG_LEVEL_FATAL)], 8);
    record.contentLength = static_cast<std::int32_t>(at + 8 - record.content);
}

}  // namespace HalvorixAppLog

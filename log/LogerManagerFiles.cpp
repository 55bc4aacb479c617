// The files of the manager's loggers.
#include <cstdio>

#include "log/LogPaths.h"
#include "log/LogerManager.h"

namespace HalvorixAppLog {

namespace {

constexpr std::int64_t day_seconds = 86400;
constexpr std::size_t history_minimum = 7;

// Opens for appending and tells the size. Unbuffered: a record is one write anyway, and a short one then shows at once.
LogFile OpenForAppending(const std::string& path, std::uint32_t& size) {
    LogFile file(std::fopen(path.c_str(), "ab"));
    if (!file) return file;
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    std::fseek(file.get(), 0, SEEK_END);
    size = static_cast<std::uint32_t>(std::ftell(file.get()));
    return file;
}

}  // namespace

bool LogerManager::openLogger(const LogRecord& record) {
    if (!IsInRange(record.id)) {
        Print(LOG_LEVEL_FATAL, "AppLog: openLogger can not open, invalide logger id! \r\n");
        return false;
    }
    LoggerInfo& logger = loggers[record.id];
    if (!logger.outfile || !Takes(record.id, record.level)) return false;

    // The shift is in 32 bits: limits from 4096 on wrap. Meant.
    const std::uint32_t limit = logger.limitsize << 20;
    if (record.time < logger.curFileCreateDay || record.time >= logger.curFileCreateDay + day_seconds) {
        logger.curFileIndex = 0;
        logger.file.reset();
    } else if (logger.curWriteLen > limit) {
        ++logger.curFileIndex;
        logger.file.reset();
    }
    if (logger.file) return true;

    logger.curFileCreateTime = record.time;
    logger.curWriteLen = 0;
    const std::tm time = clock.LocalTime(record.time);
    logger.curFileCreateDay = clock.Midnight(time);

    std::string path = logger.path.Get();
    if (logger.monthdir) path += MonthDirectory(time);
    // Where that fails the opening fails, and says so.
    if (!IsDirectory(path)) MakeDirectories(path);
    path += LogFileName(processName, logger.name.Get(), time, pid, logger.curFileIndex);

    std::uint32_t size = 0;
    logger.file = OpenForAppending(path, size);
    if (!logger.file) {
        constexpr std::string_view bar = "!!!!!!!!!!!!!!!!!!!!!!!!!! \r\n";
        Print(LOG_LEVEL_FATAL, bar);
        Print(LOG_LEVEL_FATAL, "AppLog: can not open log file " + path + ". \r\n");
        Print(LOG_LEVEL_FATAL, bar);
        // One failure ends the logger's file output, until a setter or a reload turns it on again.
        logger.outfile = false;
        return false;
    }
    logger.curWriteLen = size;
    if (logger.reserve > 0) RemoveHistory(logger, path);
    return true;
}

void LogerManager::RemoveHistory(LoggerInfo& logger, const std::string& opened) {
    const std::int64_t now = clock.Seconds();
    auto& history = logger.historyLogs;
    if (history.size() > history_minimum) {
        // By age alone from here on, down to an empty list and even to the file just opened: meant.
        while (!history.empty() && history.front().first < now - logger.reserve) {
            std::remove(history.front().second.c_str());
            history.pop_front();
        }
    }
    if (history.empty() || history.back().second != opened) history.emplace_back(now, opened);
}

void LogerManager::WriteFile(LoggerInfo& logger, const LogRecord& record) {
    const std::size_t length = static_cast<std::size_t>(record.contentLength);
    if (!logger.file || length == 0) return;
    if (std::fwrite(record.content, 1, length, logger.file.get()) < length) logger.file.reset();
}

void LogerManager::closeLogger(std::int32_t id) {
    if (!IsInRange(id)) {
        Print(LOG_LEVEL_FATAL, "AppLog: closeLogger can not close, invalide logger id! \r\n");
        return;
    }
    loggers[id].file.reset();
}

}  // namespace HalvorixAppLog

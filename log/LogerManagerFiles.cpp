// The files of the manager's loggers.
#include <cstdio>

#include "log/LogPaths.h"
#include "log/LogerManager.h"

namespace HalvorixAppLog {

namespace {

constexpr std::int64_t day_seconds = 86400;
constexpr std::size_t history_minimum = 7;

}  // namespace

bool LogerManager::openLogger(const LogRecord& record) {
    if (!IsInRange(record.id)) {
        Print(LOG_LEVEL_FATAL, "AppLog: openLogger can not open, invalide logger id! \r\n");
        return false;
    }
    LoggerInfo& logger = loggers[record.id];
    if (!logger.outfile || !Takes(record.id, record.level)) return false;

    // Kept: the shift is in 32 bits and wraps from 4096 on, because 0xFFFFFFFF stands for no limit
    // and its wrapped value is as near to that as the field gets.
    const std::uint32_t limit = logger.limitsize << 20;
    if (record.time < logger.curFileCreateDay ||
        record.time >= logger.curFileCreateDay + day_seconds) {
        logger.curFileIndex = 0;
        logger.file.Close();
    } else if (logger.curWriteLen > limit) {
        ++logger.curFileIndex;
        logger.file.Close();
    }
    if (logger.file.IsOpen()) return true;

    logger.curFileCreateTime = record.time;
    logger.curWriteLen = 0;
    logger.place.Find({record.time, logger.path, logger.name, logger.monthdir, logger.curFileIndex},
                      processName, pid, clock);
    logger.curFileCreateDay = logger.place.Midnight();

    const std::string& directory = logger.place.Directory();
    const std::string& path = logger.place.Path();
    if (!logger.file.Open(path) && !IsDirectory(directory)) {
        // A failure is not looked at: the second opening fails, too.
        MakeDirectories(directory);
        logger.file.Open(path);
    }
    if (!logger.file.IsOpen()) {
        constexpr std::string_view bar = "!!!!!!!!!!!!!!!!!!!!!!!!!! \r\n";
        Print(LOG_LEVEL_FATAL, bar);
        Print(LOG_LEVEL_FATAL, "AppLog: can not open log file " + path + ". \r\n");
        Print(LOG_LEVEL_FATAL, bar);
        // One failure ends the logger's file output, until a setter or a reload turns it on again.
        logger.outfile = false;
        return false;
    }
    logger.curWriteLen = logger.file.Size();
    if (logger.reserve > 0) RemoveHistory(logger, path);
    return true;
}

void LogerManager::RemoveHistory(LoggerInfo& logger, const std::string& opened) {
    const std::int64_t now = clock.Now().seconds;
    auto& history = logger.historyLogs;
    if (history.size() > history_minimum) {
        // Kept: by age alone from here on, down to an empty list and even to the file just opened,
        // because the minimum only decides whether to look.
        while (!history.empty() && history.front().first < now - logger.reserve) {
            std::remove(history.front().second.c_str());
            history.pop_front();
        }
    }
    if (history.empty() || history.back().second != opened) history.emplace_back(now, opened);
}

void LogerManager::WriteFile(LoggerInfo& logger, const LogRecord& record) {
    if (!logger.file.IsOpen() || record.contentLength == 0) return;
    if (!logger.file.Write({record.content, static_cast<std::size_t>(record.contentLength)}))
        logger.file.Close();
}

void LogerManager::closeLogger(std::int32_t id) {
    if (!IsInRange(id)) {
        Print(LOG_LEVEL_FATAL, "AppLog: closeLogger can not close, invalide logger id! \r\n");
        return;
    }
    loggers[id].file.Close();
}

}  // namespace HalvorixAppLog

// One logger: its settings and its file.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <utility>

#include "log/LogFile.h"
#include "log/LogFilePlace.h"
#include "log/Relaxed.h"

namespace HalvorixAppLog {

struct LoggerInfo {
    // Texts are guarded by the manager's logLock, which the file work holds anyway; the other
    // settings are read by every thread that logs, without a lock.
    std::string key;                 // the name by which the logger is found
    std::string name;                // the name in file names
    std::string path = "./log/";     // directory, with a closing slash
    Relaxed<std::int32_t> level{1};  // records below it are dropped
    Relaxed<bool> display{true};
    Relaxed<bool> outfile{true};
    Relaxed<bool> monthdir{false};
    Relaxed<std::uint32_t> limitsize{10};  // in units of 1,048,576 bytes
    Relaxed<bool> enable{false};
    Relaxed<bool> fileline{false};
    Relaxed<std::int64_t> reserve{0};  // seconds

    // The file, guarded by the manager's logLock.
    std::int64_t curFileCreateTime = 0;
    std::int64_t curFileCreateDay = 0;  // local midnight
    std::uint32_t curFileIndex = 0;     // within the day
    std::uint32_t curWriteLen = 0;      // bytes in the file
    LogFile file;
    // When each file was opened, and its path; oldest first.
    std::deque<std::pair<std::int64_t, std::string>> historyLogs;
    LogFilePlace place;
};

}  // namespace HalvorixAppLog

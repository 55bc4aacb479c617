// One logger: its settings and its file.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <utility>

#include "log/LogFile.h"
#include "log/LogFilePlace.h"
#include "log/Relaxed.h"
#include "log/SharedText.h"

namespace HalvorixAppLog {

struct LoggerInfo {
    // Settings: written by setters and reloads, read by every thread that logs, no lock.
    SharedText key;                  // the name by which the logger is found
    SharedText name;                 // the name in file names
    SharedText path{"./log/"};       // directory, with a closing slash
    Relaxed<std::int32_t> level{1};  // records below it are dropped
    Relaxed<bool> display{true};
    Relaxed<bool> outfile{true};
    Relaxed<bool> monthdir{false};
    Relaxed<std::uint32_t> limitsize{10};  // in units of 1,048,576 bytes
    Relaxed<bool> enable{false};
    Relaxed<bool> fileline{false};
    Relaxed<std::int64_t> reserve{0};  // seconds

    // The file: guarded by the manager's logLock.
    std::int64_t curFileCreateTime = 0;
    std::int64_t curFileCreateDay = 0;  // local midnight
    std::uint32_t curFileIndex = 0;     // within the day
    std::uint32_t curWriteLen = 0;      // bytes in the file
    LogFile file;
    std::deque<std::pair<std::int64_t, std::string>>
        historyLogs;  // opened when, path; oldest first
    LogFilePlace place;
};

}  // namespace HalvorixAppLog

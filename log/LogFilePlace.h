// Where a logger's file is at a moment.
#pragma once

#include <cstdint>
#include <string>

#include "log/LogClock.h"

namespace HalvorixAppLog {

// The file is opened for each record, and records come in bursts: one answer serves all records of
// its second. Without it the calendar and the name take half as long as the file does.
class LogFilePlace {
public:
    struct Question {
        std::int64_t time;
        const std::string& path;
        const std::string& name;
        bool monthdir;
        std::uint32_t index;
    };

    void Find(const Question& question, const std::string& process, const std::string& pid,
              LogClock& clock);

    const std::string& Directory() const { return directory; }
    const std::string& Path() const { return path; }
    // Of the local day.
    std::int64_t Midnight() const { return midnight; }

private:
    bool Answers(const Question& question) const;

    // The question that was answered last.
    std::int64_t askedTime = INT64_MIN;
    std::string askedPath;
    std::string askedName;
    bool askedMonthdir = false;
    std::uint32_t askedIndex = 0;

    std::string directory;
    std::string path;
    std::int64_t midnight = 0;
};

}  // namespace HalvorixAppLog

// Where a logger's file is at a moment.
#pragma once

#include <cstdint>
#include <string>

#include "log/LogClock.h"
#include "log/SharedText.h"

namespace HalvorixAppLog {

// The file is opened for each record, and records come in bursts: an answer serves for all records
// of its second.
class LogFilePlace {
public:
    struct Question {
        std::int64_t time;
        const std::string* path;  // of a SharedText, whose texts keep their addresses
        const std::string* name;
        bool monthdir;
        std::uint32_t index;
        bool operator==(const Question&) const = default;
    };

    void Find(const Question& question, const std::string& process, const std::string& pid,
              LogClock& clock);

    const std::string& Directory() const { return directory; }
    const std::string& Path() const { return path; }
    // Of the local day.
    std::int64_t Midnight() const { return midnight; }

private:
    Question answered{};
    std::string directory;
    std::string path;
    std::int64_t midnight = 0;
};

}  // namespace HalvorixAppLog

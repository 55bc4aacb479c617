// The host's log manager of a test program: the library finds it among the program's exports and it keeps every line.
#pragma once

#include <string>
#include <vector>

namespace Vimbrel::test {

struct LogLine {
    int level;
    std::string text;
    std::string file;  // of the log site
    bool operator==(const LogLine&) const = default;
};

// Takes what was logged since the last call.
std::vector<LogLine> TakeLog();

// The same, of lines at the level "error" and above; texts only.
std::vector<std::string> TakeErrors();

}  // namespace Vimbrel::test

// The host's log managers of a test program: the library finds them through the program's export,
// and they keep every line.
#pragma once

#include <string>
#include <vector>

namespace Vimbrel::test {

struct LogLine {
    int level;
    std::string text;
    std::string file;  // of the log site
    int line;
};

// Takes what the current manager was given since the last call.
std::vector<LogLine> TakeLog();

// The same, of lines at the level "error" and above; texts only.
std::vector<std::string> TakeErrors();

// Another manager answers from now on, which takes lines of `lowest` and above.
void SwitchLog(int lowest);

}  // namespace Vimbrel::test

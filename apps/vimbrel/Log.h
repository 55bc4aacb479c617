// The log that the studio shares with the library.
#pragma once

#include <string>

namespace studio {

struct LogOptions {
    std::string config_file;  // empty for none
    std::string level;        // a level word; empty for the configuration's
};

// Runs the log manager until it is destroyed.
class Log {
public:
    Log() = default;
    ~Log();
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    // Without a configuration file: warnings and worse, on the terminal, no file. False with
    // `error` set.
    bool Start(const LogOptions& options, std::string& error);

    // For scenes that show the desktop: a screen that keeps still is an error line ten times a
    // second. Only alarms then, unless the options said something else.
    void ExpectStillScreens();

private:
    bool started = false;
    bool asked_for = false;  // the options said something
};

}  // namespace studio

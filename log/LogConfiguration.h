// The configuration text: sections of key and value lines.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "log/LoggerInfo.h"

namespace HalvorixAppLog {

// The loggers that one text describes. A section has its own defaults, so a key that it does not
// mention comes out as the default, not as what the logger has.
class LogConfiguration {
public:
    // Warnings go to standard output. `text` holds no zero byte.
    bool Parse(std::string_view text);
    // By section key.
    const std::map<std::string, LoggerInfo>& Loggers() const { return loggers; }

    // The sum of the bytes, by which a reload sees a change. Swapped bytes are not noticed.
    static std::uint32_t Checksum(std::string_view text);

private:
    void ParseLine(std::string_view line, int number);
    void ParseSection(std::string_view head, int number);
    void ParseSetting(std::string_view key, std::string_view value, int number);

    std::map<std::string, LoggerInfo> loggers;
    std::string currentKey;
};

}  // namespace HalvorixAppLog

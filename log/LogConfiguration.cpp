#include "log/LogConfiguration.h"

#include <cstdio>
#include <cstdlib>
#include <numeric>

#include "log/LogText.h"
#include "vimbrel/AppLog.h"

namespace HalvorixAppLog {

namespace {

struct LevelWord {
    std::string_view word;
    std::int32_t level;
};
constexpr LevelWord level_words[] = {
    {"trace", LOG_LEVEL_TRACE}, {"all", LOG_LEVEL_TRACE},   {"debug", LOG_LEVEL_DEBUG},
    {"info", LOG_LEVEL_INFO},   {"warn", LOG_LEVEL_WARN},   {"warning", LOG_LEVEL_WARN},
    {"error", LOG_LEVEL_ERROR}, {"alarm", LOG_LEVEL_ALARM}, {"fatal", LOG_LEVEL_FATAL},
};

// Kept: text that is no number is 0 and what follows a number is ignored, because files in use
// have units after their numbers.
int Number(const std::string& value) { return std::atoi(value.c_str()); }  // NOLINT(cert-err34-c)

void ApplySetting(LoggerInfo& logger, const std::string& key, const std::string& value) {
    const bool on = value != "false" && value != "0";
    if (key == "level") {
        for (const LevelWord& entry : level_words) {
            if (value == entry.word) logger.level = entry.level;
        }
    } else if (key == "display") {
        logger.display = on;
    } else if (key == "outfile") {
        logger.outfile = on;
    } else if (key == "monthdir") {
        logger.monthdir = on;
    } else if (key == "limitsize") {
        logger.limitsize = static_cast<std::uint32_t>(Number(value));
    } else if (key == "fileline") {
        logger.fileline = on;
    } else if (key == "enable") {
        logger.enable = on;
    } else if (key == "reserve") {
        // Kept: the value goes no further than this map; only the setter reaches a logger.
        logger.reserve = Number(value);
    }
}

}  // namespace

std::uint32_t LogConfiguration::Checksum(std::string_view text) {
    return std::accumulate(text.begin(), text.end(), std::uint32_t{0},
                           [](std::uint32_t sum, char character) {
                               return sum + static_cast<unsigned char>(character);
                           });
}

bool LogConfiguration::Parse(std::string_view text) {
    // Kept: each CR and each LF ends a line of its own, so the numbers of a file with CR LF run
    // twice as fast as an editor's.
    int number = 1;
    while (!text.empty()) {
        const std::size_t end = text.find_first_of("\r\n");
        ParseLine(text.substr(0, end), number++);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    // No text is refused; callers handle a failure all the same.
    return true;
}

void LogConfiguration::ParseLine(std::string_view line, int number) {
    const std::size_t equals = line.find('=');
    const std::string_view left = Trim(line.substr(0, equals));
    if (left.empty() || left.front() == '#') return;
    if (left.front() == '[') {
        ParseSection(left, number);
    } else {
        ParseSetting(
            left,
            equals == std::string_view::npos ? std::string_view() : Trim(line.substr(equals + 1)),
            number);
    }
}

void LogConfiguration::ParseSection(std::string_view head, int number) {
    currentKey = Trim(head, "[]");
    if (LowerCase(currentKey) == "main") currentKey = "Main";
    const auto [entry, added] = loggers.try_emplace(currentKey);
    if (!added) {
        std::printf("AppLog configure warning: duplicate logger key:[%s] at line: %d \r\n",
                    currentKey.c_str(), number);
        return;
    }
    entry->second.enable = true;
    entry->second.key = currentKey;
    entry->second.name = currentKey;
}

void LogConfiguration::ParseSetting(std::string_view key, std::string_view value, int number) {
    const auto entry = loggers.find(currentKey);
    if (entry == loggers.end()) {
        std::printf(
            "AppLog configure warning: not found current logger name:[%s] at line:%d, key=%s, "
            "value=%s \r\n",
            currentKey.c_str(), number, std::string(key).c_str(), std::string(value).c_str());
        return;
    }
    const std::string name = LowerCase(key);
    if (name == "path") {
        entry->second.path = value;
    } else if (name == "name") {
        entry->second.name = value;
    } else {
        ApplySetting(entry->second, name, LowerCase(value));
    }
}

}  // namespace HalvorixAppLog

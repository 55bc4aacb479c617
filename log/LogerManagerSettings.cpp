// The settings of the manager's loggers, and the configuration that sets them.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "log/LogConfiguration.h"
#include "log/LogText.h"
#include "log/LogerManager.h"

namespace HalvorixAppLog {

namespace {

constexpr const char* error_bar = " !!! !!! !!! !!!\r\n";

// The file's bytes up to the first zero. False if it cannot be opened or read; a directory opens.
bool ReadText(const std::string& path, std::string& text) {
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    if (!file) return false;
    char block[512];
    for (std::size_t length; (length = std::fread(block, 1, sizeof block, file)) > 0;)
        text.append(block, length);
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed) return false;
    text.resize(std::min(text.find('\0'), text.size()));
    return true;
}

}  // namespace

bool LogerManager::SetEnable(std::int32_t id, bool on) {
    return ApplyChange(id, CHANGE_ENABLE, on, {});
}

bool LogerManager::SetName(std::int32_t id, const char* name) {
    return name && ApplyChange(id, CHANGE_NAME, 0, name);
}

bool LogerManager::SetPath(std::int32_t id, const char* path) {
    if (!path || !*path) return false;
    std::string closed(path);
    if (closed.back() != '/' && closed.back() != '\\') closed += '/';
    return ApplyChange(id, CHANGE_PATH, 0, closed);
}

bool LogerManager::SetLevel(std::int32_t id, int level) {
    return ApplyChange(id, CHANGE_LEVEL, level, {});
}

bool LogerManager::SetFileLine(std::int32_t id, bool on) {
    return ApplyChange(id, CHANGE_FILELINE, on, {});
}

bool LogerManager::SetDisplay(std::int32_t id, bool on) {
    return ApplyChange(id, CHANGE_DISPLAY, on, {});
}

bool LogerManager::SetOutFile(std::int32_t id, bool on) {
    return ApplyChange(id, CHANGE_OUTFILE, on, {});
}

bool LogerManager::SetLimitSize(std::int32_t id, unsigned int size) {
    return ApplyChange(id, CHANGE_LIMITSIZE,
                       static_cast<std::int32_t>(size == 0 ? 0xFFFFFFFFu : size), {});
}

bool LogerManager::SetMonthDir(std::int32_t id, bool on) {
    return ApplyChange(id, CHANGE_MONTHDIR, on, {});
}

bool LogerManager::SetReserve(std::int32_t id, int seconds) {
    return ApplyChange(id, CHANGE_RESERVE, seconds, {});
}

bool LogerManager::ApplyChange(std::int32_t id, std::int32_t type, std::int32_t number,
                               std::string_view text) {
    if (!IsInRange(id)) return false;
    const bool text_fits =
        !text.empty() && text.size() < static_cast<std::size_t>(LOG_TEXT_CAPACITY);
    LoggerInfo& logger = loggers[id];
    switch (type) {
        case CHANGE_ENABLE:
            logger.enable = number != 0;
            return true;
        case CHANGE_NAME:
            return text_fits && SetText(logger.name, text);
        case CHANGE_PATH:
            return text_fits && SetText(logger.path, text);
        case CHANGE_LEVEL:
            logger.level = number;
            return true;
        case CHANGE_FILELINE:
            logger.fileline = number != 0;
            return true;
        case CHANGE_DISPLAY:
            logger.display = number != 0;
            return true;
        case CHANGE_OUTFILE:
            logger.outfile = number != 0;
            return true;
        case CHANGE_LIMITSIZE:
            logger.limitsize = static_cast<std::uint32_t>(number);
            return true;
        case CHANGE_MONTHDIR:
            logger.monthdir = number != 0;
            return true;
        case CHANGE_RESERVE:
            logger.reserve = std::max(number, 0);
            return true;
        default:
            return false;
    }
}

// Waits for a record that is being written.
bool LogerManager::SetText(std::string& setting, std::string_view text) {
    const ScopedLock guard(logLock);
    setting = text;
    return true;
}

bool LogerManager::SetAutoReload(int seconds) {
    reloadInterval = seconds;
    return true;
}

bool LogerManager::IsEnabled(std::int32_t id) { return IsInRange(id) && loggers[id].enable; }

std::uint32_t LogerManager::ActiveLoggerCount() {
    const std::int32_t last = lastId;
    return static_cast<std::uint32_t>(
        std::count_if(loggers, loggers + last + 1,
                      [](const LoggerInfo& logger) -> bool { return logger.enable; }));
}

bool LogerManager::Config(const char* path) {
    if (!path) return false;
    if (const std::string old = ConfigFile(); !old.empty()) {
        std::printf("%s", error_bar);
        std::printf(
            " !!! !!! AppLog configure error: too many calls to Config. the old config file=%s,  "
            "the new config file=%s !!! !!! \r\n",
            old.c_str(), path);
        std::printf("%s", error_bar);
        return false;
    }
    {
        const ScopedLock guard(idsLock);
        configFile = path;
    }
    return LoadFile(false);
}

std::string LogerManager::ConfigFile() {
    const ScopedLock guard(idsLock);
    return configFile;
}

bool LogerManager::ConfigFromText(const char* text) { return text && LoadText(text, false); }

bool LogerManager::ReloadConfig() { return !ConfigFile().empty() && LoadFile(true); }

bool LogerManager::LoadFile(bool reload) {
    const std::string path = ConfigFile();
    std::string text;
    if (!ReadText(path, text)) {
        std::printf("%s", error_bar);
        std::printf(" !!! !!! AppLog load config file error. filename=%s  !!! !!! \r\n",
                    path.c_str());
        std::printf("%s", error_bar);
        return false;
    }
    return LoadText(text, reload);
}

bool LogerManager::LoadText(std::string_view text, bool reload) {
    const std::uint32_t checksum = LogConfiguration::Checksum(text);
    // Kept: the value before any load is 0, so an empty text succeeds without a parse.
    if (checksum == configChecksum) return true;
    configChecksum = checksum;

    LogConfiguration configuration;
    if (!configuration.Parse(text)) {
        std::printf("%s", error_bar);
        std::printf(" !!! !!! AppLog load config file error \r\n");
        std::printf("%s", error_bar);
        return false;
    }
    for (const auto& [key, section] : configuration.Loggers()) {
        std::int32_t id = FindLogger(key);
        if (id == LOGGER_INVALID && !reload) id = CreateLogger(key.c_str());
        if (id == LOGGER_INVALID) continue;
        SetEnable(id, section.enable);
        SetName(id, section.name.c_str());
        SetPath(id, section.path.c_str());
        SetLevel(id, section.level);
        SetFileLine(id, section.fileline);
        SetDisplay(id, section.display);
        SetOutFile(id, section.outfile);
        SetLimitSize(id, section.limitsize);
        SetMonthDir(id, section.monthdir);
        // Kept: no SetReserve, because a reload must not delete files that a program chose to keep.
    }
    return true;
}

}  // namespace HalvorixAppLog

// The log manager. Being built: records, files and settings follow; until then it is silent.
#pragma once

#include "vimbrel/AppLog.h"

namespace HalvorixAppLog {

class LogerManager final : public IAppLogManager {
public:
    bool Config(const char*) override { return false; }
    bool ConfigFromText(const char*) override { return false; }
    std::int32_t CreateLogger(const char*) override { return LOGGER_INVALID; }
    bool Start() override { return false; }
    bool Stop() override { return false; }
    std::int32_t FindLogger(const char*) override { return LOGGER_INVALID; }
    bool PreCheck(std::int32_t, int) override { return false; }
    bool Submit(LogRecord* record, const char*, int) override { return FreeRecord(record), false; }
    bool SetEnable(std::int32_t, bool) override { return false; }
    bool SetName(std::int32_t, const char*) override { return false; }
    bool SetPath(std::int32_t, const char*) override { return false; }
    bool SetLevel(std::int32_t, int) override { return false; }
    bool SetFileLine(std::int32_t, bool) override { return false; }
    bool SetDisplay(std::int32_t, bool) override { return false; }
    bool SetOutFile(std::int32_t, bool) override { return false; }
    bool SetLimitSize(std::int32_t, unsigned int) override { return false; }
    bool SetMonthDir(std::int32_t, bool) override { return false; }
    bool SetReserve(std::int32_t, int) override { return false; }
    bool SetAutoReload(int) override { return false; }
    bool ReloadConfig() override { return false; }
    bool IsEnabled(std::int32_t) override { return false; }
    std::uint64_t TotalWriteCount() override { return 0; }
    std::uint64_t TotalWriteBytes() override { return 0; }
    std::uint64_t TotalPushed() override { return 0; }
    std::uint64_t TotalPopped() override { return 0; }
    std::uint32_t ActiveLoggerCount() override { return 0; }
    LogRecord* MakeRecord(std::int32_t, int) override { return new LogRecord{}; }
    void FreeRecord(LogRecord* record) override { delete record; }
};

}  // namespace HalvorixAppLog

#include "tests/fakes/CapturingLog.h"

#include <atomic>
#include <mutex>
#include <utility>

#include "vimbrel/AppLog.h"

namespace Vimbrel::test {

namespace {

using HalvorixAppLog::LogRecord;

class CapturingManager final : public HalvorixAppLog::IAppLogManager {
public:
    bool Config(const char*) override { return false; }
    bool ConfigFromText(const char*) override { return false; }
    std::int32_t CreateLogger(const char*) override { return HalvorixAppLog::LOGGER_INVALID; }
    bool Start() override { return true; }
    bool Stop() override { return true; }
    std::int32_t FindLogger(const char*) override { return HalvorixAppLog::LOGGER_INVALID; }
    bool PreCheck(std::int32_t id, int level) override {
        return id == HalvorixAppLog::LOGGER_MAIN && level >= lowest;
    }
    bool Submit(LogRecord* record, const char* file, int line) override {
        {
            const std::lock_guard guard(lock);
            lines.push_back(
                {record->level,
                 std::string(record->content, static_cast<std::size_t>(record->contentLength)),
                 file ? file : "", line});
        }
        FreeRecord(record);
        return true;
    }
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
    bool IsEnabled(std::int32_t) override { return true; }
    std::uint64_t TotalWriteCount() override { return 0; }
    std::uint64_t TotalWriteBytes() override { return 0; }
    std::uint64_t TotalPushed() override { return 0; }
    std::uint64_t TotalPopped() override { return 0; }
    std::uint32_t ActiveLoggerCount() override { return 1; }
    LogRecord* MakeRecord(std::int32_t id, int level) override {
        auto* record = new LogRecord{};
        record->id = id;
        record->level = level;
        return record;
    }
    void FreeRecord(LogRecord* record) override { delete record; }

    std::vector<LogLine> Take() {
        const std::lock_guard guard(lock);
        return std::exchange(lines, {});
    }

    std::atomic<int> lowest{HalvorixAppLog::LOG_LEVEL_TRACE};

private:
    std::mutex lock;
    std::vector<LogLine> lines;  // guarded by lock
};

std::atomic<bool> switched{false};

CapturingManager& Manager() {
    // Never destroyed: the library may log until the very end.
    static auto* first = new CapturingManager;
    static auto* second = new CapturingManager;
    return switched ? *second : *first;
}

}  // namespace

std::vector<LogLine> TakeLog() { return Manager().Take(); }

std::vector<std::string> TakeErrors() {
    std::vector<std::string> texts;
    for (LogLine& line : TakeLog()) {
        if (line.level >= HalvorixAppLog::LOG_LEVEL_ERROR) texts.push_back(std::move(line.text));
    }
    return texts;
}

void SwitchLog(int lowest) {
    switched = !switched;
    Manager().lowest = lowest;
}

}  // namespace Vimbrel::test

extern "C" [[gnu::visibility("default")]] HalvorixAppLog::IAppLogManager* GetAppLogger() {
    return &Vimbrel::test::Manager();
}

// The log manager: up to 20 loggers, each with a level, a console display and files that roll by
// day, hour and size.
//
// Writing is synchronous: a record is on the console, with the debugger and in its file when Submit
// returns. The worker thread flushes, reloads the configuration and waits. Nothing feeds its queue,
// so TotalPushed and TotalPopped stay 0: hosts read them as statistics of a queue that is empty.
//
// Lock order: idsLock, then logLock, then consoleLock. freeLock is held while no other is taken.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "log/LockHelper.h"
#include "log/LogClock.h"
#include "log/LoggerInfo.h"
#include "log/Relaxed.h"
#include "log/SemHelper.h"
#include "log/ThreadHelper.h"
#include "vimbrel/AppLog.h"

namespace HalvorixAppLog {

class LogerManager : public ThreadHelper, public IAppLogManager {
public:
    // `clock` outlives the manager.
    explicit LogerManager(LogClock& clock = LogClock::System());
    ~LogerManager() override;
    LogerManager(const LogerManager&) = delete;
    LogerManager& operator=(const LogerManager&) = delete;

    bool Config(const char* path) override;
    bool ConfigFromText(const char* text) override;
    std::int32_t CreateLogger(const char* key) override;
    bool Start() override;
    bool Stop() override;
    std::int32_t FindLogger(const char* key) override;
    bool PreCheck(std::int32_t id, int level) override;
    bool Submit(LogRecord* record, const char* file, int line) override;
    bool SetEnable(std::int32_t id, bool on) override;
    bool SetName(std::int32_t id, const char* name) override;
    bool SetPath(std::int32_t id, const char* path) override;
    bool SetLevel(std::int32_t id, int level) override;
    bool SetFileLine(std::int32_t id, bool on) override;
    bool SetDisplay(std::int32_t id, bool on) override;
    bool SetOutFile(std::int32_t id, bool on) override;
    bool SetLimitSize(std::int32_t id, unsigned int size) override;
    bool SetMonthDir(std::int32_t id, bool on) override;
    bool SetReserve(std::int32_t id, int seconds) override;
    bool SetAutoReload(int seconds) override;
    bool ReloadConfig() override;
    bool IsEnabled(std::int32_t id) override;
    std::uint64_t TotalWriteCount() override { return totalWriteCount; }
    std::uint64_t TotalWriteBytes() override { return totalWriteBytes; }
    std::uint64_t TotalPushed() override { return totalPushed; }
    std::uint64_t TotalPopped() override { return totalPopped; }
    std::uint32_t ActiveLoggerCount() override;
    LogRecord* MakeRecord(std::int32_t id, int level) override;
    void FreeRecord(LogRecord* record) override;

protected:
    // The type of a change, as records carry it.
    enum Change : std::int32_t {
        CHANGE_ENABLE = 1,
        CHANGE_NAME,
        CHANGE_PATH,
        CHANGE_LEVEL,
        CHANGE_FILELINE,
        CHANGE_DISPLAY,
        CHANGE_OUTFILE,
        CHANGE_LIMITSIZE,
        CHANGE_MONTHDIR,
        CHANGE_RESERVE,
    };

    // What the worker keeps from round to round.
    struct WorkerState {
        std::uint32_t flushCounters[LOGGER_MAX] = {};
        std::int64_t reloadTime = 0;  // seconds, of the last reload
    };

    void Run() override;
    // Empties the queue, flushes, sleeps and reloads. False when the worker is to end.
    bool WorkerRound(WorkerState& state);

    bool IsInRange(std::int32_t id) const {
        return static_cast<std::uint32_t>(id) <= static_cast<std::uint32_t>(lastId);
    }
    // Whether the logger takes a record of that level.
    bool Takes(std::int32_t id, int level) const {
        return loggers[id].enable && level >= loggers[id].level;
    }
    // The queue's length without the lock: a late view slows a caller down for nothing, or not yet.
    std::size_t QueueLength() const NO_THREAD_SAFETY_ANALYSIS { return queue.size(); }
    // Slows the caller down while the queue is long.
    void Throttle(std::size_t length);
    bool ApplyChange(std::int32_t id, std::int32_t type, std::int32_t number,
                     std::string_view text);
    bool SetText(std::string& setting, std::string_view text);

    std::string ConfigFile();
    bool LoadFile(bool reload);
    bool LoadText(std::string_view text, bool reload);
    std::int32_t FindLogger(const std::string& key);

    bool openLogger(const LogRecord& record) REQUIRES(logLock);
    void closeLogger(std::int32_t id) REQUIRES(logLock);
    void WriteFile(LoggerInfo& logger, const LogRecord& record) REQUIRES(logLock);
    void RemoveHistory(LoggerInfo& logger, const std::string& opened) REQUIRES(logLock);

    LogRecord* TakeQueued();
    void HandleQueued(LogRecord* record, WorkerState& state);
    void FlushFiles(WorkerState& state);
    void DisableLoggers();
    void StopWorker();

    void Print(int level, std::string_view text);

    Relaxed<bool> running{false};
    SemHelper semaphore;
    Relaxed<std::int32_t> reloadInterval{0};
    Relaxed<std::uint32_t> configChecksum{0};
    std::string pid;
    std::string processName;
    LockHelper idsLock ACQUIRED_BEFORE(logLock);
    std::string configFile GUARDED_BY(idsLock);
    std::map<std::string, std::int32_t> ids GUARDED_BY(idsLock);
    Relaxed<std::int32_t> lastId{0};  // grows under idsLock
    LoggerInfo loggers[LOGGER_MAX];
    // The spacers keep locks that different threads hit, and what they guard, off each other's
    // cache lines.
    char spacer1[256];
    LockHelper logLock ACQUIRED_BEFORE(consoleLock);
    std::deque<LogRecord*> queue GUARDED_BY(logLock);
    Relaxed<std::uint64_t> totalPushed{0};
    char spacer2[256];
    LockHelper freeLock;
    std::vector<LogRecord*> freeRecords GUARDED_BY(freeLock);
    Relaxed<std::size_t> freeRecordsCount{0};  // the vector's length, for tests without the lock
    char spacer3[256];
    LockHelper consoleLock;
    char spacer4[256];
    std::deque<LogRecord*> workerQueue;  // the worker's own
    Relaxed<std::uint64_t> totalPopped{0};
    Relaxed<std::uint64_t> totalWriteCount{0};  // written under logLock
    Relaxed<std::uint64_t> totalWriteBytes{0};
    LogClock& clock;
};

}  // namespace HalvorixAppLog

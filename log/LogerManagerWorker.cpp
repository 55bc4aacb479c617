// The worker thread of the manager. Nothing queues records today, so in practice it reloads and
// waits; what it does with a queued record is kept ready, and is tested.
#include <windows.h>

#include <string>

#include "log/LogerManager.h"

namespace HalvorixAppLog {

namespace {

constexpr int pause_ms = 50;

}  // namespace

void LogerManager::Run() {
    running = true;
    semaphore.Post();
    WorkerState state;
    state.reloadTime = clock.Now().seconds;
    while (WorkerRound(state)) {
    }
}

bool LogerManager::WorkerRound(WorkerState& state) {
    while (LogRecord* const record = TakeQueued()) HandleQueued(record, state);
    FlushFiles(state);
    clock.Sleep(pause_ms);

    bool idle;
    {
        const ScopedLock guard(logLock);
        idle = queue.empty();
    }
    if (!running && idle) {
        DisableLoggers();
        return false;
    }
    const std::int32_t interval = reloadInterval;
    if (interval != 0 && clock.Now().seconds - state.reloadTime > interval) {
        ReloadConfig();
        state.reloadTime = clock.Now().seconds;
    }
    return true;
}

LogRecord* LogerManager::TakeQueued() {
    if (workerQueue.empty()) {
        const ScopedLock guard(logLock);
        if (!queue.empty()) workerQueue.swap(queue);
    }
    if (workerQueue.empty()) return nullptr;
    LogRecord* const record = workerQueue.front();
    workerQueue.pop_front();
    return record;
}

void LogerManager::HandleQueued(LogRecord* record, WorkerState& state) {
    const std::int32_t id = record->id;
    const std::string text(record->content, static_cast<std::size_t>(record->contentLength));
    if (IsInRange(id) && record->type != 0) {
        ApplyChange(id, record->type, record->typeValue, text);
        const ScopedLock guard(logLock);
        closeLogger(id);
    } else if (IsInRange(id)) {
        totalPopped.Add(1);
        LoggerInfo& logger = loggers[id];
        if (Takes(id, record->level)) {
            if (logger.display) Print(record->level, text);
            OutputDebugStringA(text.c_str());
            const ScopedLock guard(logLock);
            bool counted = true;
            if (logger.outfile) {
                counted = openLogger(*record);
                if (counted) {
                    WriteFile(logger, *record);
                    logger.curWriteLen += static_cast<std::uint32_t>(record->contentLength);
                    ++state.flushCounters[id];
                }
            }
            if (counted) {
                totalWriteCount.Add(1);
                totalWriteBytes.Add(static_cast<std::uint64_t>(record->contentLength));
            }
        }
    }
    FreeRecord(record);
}

void LogerManager::FlushFiles(WorkerState& state) {
    const ScopedLock guard(logLock);
    const std::int32_t last = lastId;
    for (std::int32_t id = 0; id <= last; ++id) {
        LoggerInfo& logger = loggers[id];
        if (!logger.enable) {
            logger.file.Close();
        } else if (state.flushCounters[id] > 0) {
            if (logger.file.IsOpen()) logger.file.Flush();
            state.flushCounters[id] = 0;
        }
    }
}

void LogerManager::DisableLoggers() {
    const ScopedLock guard(logLock);
    const std::int32_t last = lastId;
    for (std::int32_t id = 0; id <= last; ++id) {
        if (!loggers[id].enable) continue;
        loggers[id].enable = false;
        closeLogger(id);
    }
}

}  // namespace HalvorixAppLog

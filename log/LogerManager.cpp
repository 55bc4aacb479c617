// The manager's life, and the path of a record.
#include "log/LogerManager.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>

#include "com/Utf8.h"
#include "log/Console.h"
#include "log/LogPaths.h"
#include "log/LogText.h"
#include "log/RecordPrefix.h"

namespace HalvorixAppLog {

namespace {

constexpr std::size_t queue_limit = 20000;
constexpr std::size_t free_records_limit = 200;
constexpr std::chrono::milliseconds start_timeout(3000);

std::string ProcessId() {
    char text[16];
    std::snprintf(text, sizeof text, "%06u", static_cast<unsigned>(GetCurrentProcessId()));
    return text;
}

unsigned RandomPercent() {
    thread_local std::minstd_rand generator(GetCurrentThreadId() + 1);
    return static_cast<unsigned>(generator() % 100);
}

// Appends the place of a log site: the file's own name and the line.
void AppendPlace(LogRecord& record, std::string_view file, int line) {
    file.remove_prefix(file.find_last_of("/\\") + 1);
    LogCursor cursor(record);
    cursor << ' ' << file << ':' << line;
}

// Widened on the stack: every record comes here, and most processes have no debugger.
void SendToDebugger(std::string_view text) {
    wchar_t wide[sizeof(LogRecord::content) + 1];
    const std::size_t length = Vimbrel::WidenUtf8(text, wide);
    wide[length] = 0;
    if (length != 0) OutputDebugStringW(wide);
}

void EndLine(LogRecord& record) {
    if (record.contentLength + 3 > LOG_TEXT_CAPACITY) record.contentLength = LOG_TEXT_CAPACITY - 3;
    std::memcpy(record.content + record.contentLength, "\r\n", 3);
    record.contentLength += 2;
}

}  // namespace

LogerManager::LogerManager(LogClock& time)
    : pid(ProcessId()), processName(ProcessName()), clock(time) {
    freeRecords.reserve(free_records_limit + LOGGER_MAX);
    ids["Main"] = LOGGER_MAIN;
    loggers[LOGGER_MAIN].key = "Main";
    loggers[LOGGER_MAIN].name = "Main";
    loggers[LOGGER_MAIN].enable = true;
}

LogerManager::~LogerManager() {
    StopWorker();
    for (LogRecord* record : workerQueue) delete record;
    for (LogRecord* record : queue) delete record;
    for (LogRecord* record : freeRecords) delete record;
}

std::int32_t LogerManager::CreateLogger(const char* key) {
    if (!key) return LOGGER_INVALID;
    const std::string trimmed(Trim(key));
    {
        const ScopedLock guard(idsLock);
        const auto known = ids.find(trimmed);
        if (known != ids.end()) return known->second;
        const std::int32_t id = lastId + 1;
        if (id < LOGGER_MAX) {
            {
                const ScopedLock texts(logLock);
                loggers[id].key = trimmed;
                loggers[id].name = trimmed;
            }
            loggers[id].enable = true;
            ids[trimmed] = id;
            lastId = id;
            return id;
        }
    }
    Print(
        LOG_LEVEL_FATAL,
        "AppLog: CreateLogger can not create|writeover, because loggerid need < LOGGER_MAX! \r\n");
    return LOGGER_INVALID;
}

bool LogerManager::Start() {
    if (running) {
        Print(LOG_LEVEL_FATAL, "AppLog already start \r\n");
        return false;
    }
    // A start that timed out has a thread that still posts.
    if (!IsLaunched()) {
        semaphore.Create();
        if (!Launch()) {
            std::printf("AppLog: create AppLog thread error! \r\n");
            return false;
        }
    }
    return semaphore.Wait(start_timeout);
}

bool LogerManager::Stop() {
    if (!running) return false;
    StopWorker();
    const ScopedLock guard(freeLock);
    while (!freeRecords.empty()) {
        delete freeRecords.back();
        freeRecords.pop_back();
    }
    freeRecordsCount = 0;
    return true;
}

void LogerManager::StopWorker() {
    // After a start that timed out the thread may not run yet, and would miss a flag that is
    // cleared now.
    if (IsLaunched() && !running) semaphore.Wait(std::chrono::hours(1));
    if (running) {
        Print(LOG_LEVEL_FATAL, "AppLog stopping \r\n");
        running = false;
    }
    Join();
}

std::int32_t LogerManager::FindLogger(const char* key) {
    return key ? FindLogger(std::string(key)) : LOGGER_INVALID;
}

std::int32_t LogerManager::FindLogger(const std::string& key) {
    const ScopedLock guard(idsLock);
    const auto known = ids.find(key);
    return known == ids.end() ? LOGGER_INVALID : known->second;
}

bool LogerManager::PreCheck(std::int32_t id, int level) {
    if (!running || !IsInRange(id) || !Takes(id, level)) return false;
    const std::size_t length = QueueLength();
    if (length > queue_limit) Throttle(length);
    return true;
}

void LogerManager::Throttle(std::size_t length) {
    const unsigned rate =
        static_cast<unsigned>(std::min<std::size_t>((length * 100 - 2'000'000) / 20'000, 100));
    if (RandomPercent() >= rate) return;
    if (rate > 50) {
        const ScopedLock guard(logLock);
        if (queue.size() <= queue_limit) return;
    }
    clock.Sleep(static_cast<int>(rate));
}

LogRecord* LogerManager::MakeRecord(std::int32_t id, int level) {
    // The clock is read first, so that its arithmetic overlaps with taking the lock.
    const LogClock::Moment now = clock.Now();
    const DWORD thread = GetCurrentThreadId();
    LogRecord* record = nullptr;
    if (freeRecordsCount != 0) {
        const ScopedLock guard(freeLock);
        if (!freeRecords.empty()) {
            record = freeRecords.back();
            freeRecords.pop_back();
            freeRecordsCount = freeRecords.size();
        }
    }
    if (!record) record = new LogRecord;  // not value-initialised: that would write 8 KiB of zeros

    record->id = id;
    record->type = 0;
    record->typeValue = 0;
    record->level = level;
    record->time = now.seconds;
    record->precise = now.milliseconds;
    record->threadId = thread;
    record->contentLength = 0;

    thread_local RecordPrefix prefix;
    prefix.Write(*record, clock);
    return record;
}

void LogerManager::FreeRecord(LogRecord* record) {
    if (freeRecordsCount < free_records_limit) {
        const ScopedLock guard(freeLock);
        freeRecords.push_back(record);
        freeRecordsCount = freeRecords.size();
    } else {
        delete record;
    }
}

bool LogerManager::Submit(LogRecord* record, const char* file, int line) {
    if (!IsInRange(record->id) || !running || !Takes(record->id, record->level)) {
        FreeRecord(record);
        return false;
    }
    LoggerInfo& logger = loggers[record->id];
    if (logger.fileline && file) AppendPlace(*record, file, line);
    EndLine(*record);

    const std::string_view text(record->content, static_cast<std::size_t>(record->contentLength));
    if (logger.display) Print(record->level, text);
    SendToDebugger(text);
    if (logger.outfile) {
        const ScopedLock guard(logLock);
        if (openLogger(*record)) WriteFile(logger, *record);
        // Kept: a record whose file could not be opened counts as written, because the totals count
        // what was submitted.
        logger.curWriteLen += static_cast<std::uint32_t>(record->contentLength);
        closeLogger(record->id);
        totalWriteCount.Add(1);
        totalWriteBytes.Add(static_cast<std::uint64_t>(record->contentLength));
    }
    FreeRecord(record);
    return true;
}

void LogerManager::Print(int level, std::string_view text) {
    PrintColoured(consoleLock, level, text);
}

}  // namespace HalvorixAppLog

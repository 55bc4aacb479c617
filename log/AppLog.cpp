#include "vimbrel/AppLog.h"

#include <windows.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <new>

#include "log/LogerManager.h"

namespace HalvorixAppLog {

namespace {

using HostFunction = IAppLogManager* (*)();

// The main program's exports do not change while it runs, so the look-up is made once; the function
// itself is asked each time, since its answer may change.
HostFunction FindHostFunction() {
    return reinterpret_cast<HostFunction>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(nullptr), "GetAppLogger")));
}

// The library's own manager. It is destroyed at process exit; a new one, which nobody starts, then
// takes its place, since objects that are destroyed still later have log sites, too.
class OwnManager {
public:
    OwnManager() { new (storage) LogerManager; }
    ~OwnManager() {
        std::launder(reinterpret_cast<LogerManager*>(storage))->~LogerManager();
        new (storage) LogerManager;
    }
    OwnManager(const OwnManager&) = delete;
    OwnManager& operator=(const OwnManager&) = delete;

    IAppLogManager* Get() { return std::launder(reinterpret_cast<LogerManager*>(storage)); }

private:
    alignas(LogerManager) unsigned char storage[sizeof(LogerManager)];
};

}  // namespace

constinit std::atomic<IAppLogManager*> own_manager{nullptr};

IAppLogManager* GetAppLogger() {
    static const HostFunction host = FindHostFunction();
    if (host) return host();
    static OwnManager own;
    own_manager.store(own.Get(), std::memory_order_release);
    return own.Get();
}

void AppendFormat(LogRecord& record, const char* format, ...) {
    const int room = LOG_TEXT_CAPACITY - record.contentLength;
    if (room <= 0) return;
    va_list arguments;
    va_start(arguments, format);
    // The terminator falls into the bytes behind the capacity, so that the text itself can fill it.
    const int length = std::vsnprintf(record.content + record.contentLength,
                                      static_cast<std::size_t>(room) + 1, format, arguments);
    va_end(arguments);
    // Negative is a text that could not be made, as a wide one in a narrow locale: nothing is
    // appended, since what an earlier record left in the memory would come out.
    if (length >= 0) record.contentLength += length < room ? length : room;
}

}  // namespace HalvorixAppLog

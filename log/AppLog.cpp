#include "vimbrel/AppLog.h"

#include <windows.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "log/FormatText.h"
#include "log/LogerManager.h"

namespace HalvorixAppLog {

namespace {

using HostFunction = IAppLogManager* (*)();

// The main program's exports do not change while it runs, so they are searched once. Its function
// is called each time, since its answer may change.
HostFunction FindHostFunction() {
    return reinterpret_cast<HostFunction>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(nullptr), "GetAppLogger")));
}

// The library's own manager. After its destruction at process exit a new one, which is never
// started, takes its place, because objects that are destroyed later have log sites.
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

IAppLogManager* GetAppLogger() {
    static const HostFunction host = FindHostFunction();
    if (host) return host();
    static OwnManager own;
    return own.Get();
}

void AppendFormat(LogRecord& record, const char* format, ...) {
    const int room = LOG_TEXT_CAPACITY - record.contentLength;
    if (room <= 0) return;
    va_list arguments;
    va_start(arguments, format);
    char* const end = record.content + record.contentLength;
    int length = 0;
    if (HasWideText(format)) {
        const std::string text = FormatText(format, arguments);
        length = static_cast<int>(std::min(text.size(), static_cast<std::size_t>(room)));
        std::memcpy(end, text.data(), static_cast<std::size_t>(length));
    } else {
        // The terminator falls into the bytes after the capacity, so that the text itself can fill
        // it. A negative length is a text that could not be made.
        length =
            std::max(std::vsnprintf(end, static_cast<std::size_t>(room) + 1, format, arguments), 0);
    }
    va_end(arguments);
    record.contentLength += std::min(length, room);
}

}  // namespace HalvorixAppLog

#include "vimbrel/AppLog.h"

#include <windows.h>

#include <cstdarg>
#include <cstdio>

#include "log/LogerManager.h"

namespace HalvorixAppLog {

namespace {

using HostFunction = IAppLogManager* (*)();

// The main program's exports do not change while it runs, so the look-up is made once; the function itself is asked each
// time, since its answer may change.
HostFunction FindHostFunction() {
    return reinterpret_cast<HostFunction>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(nullptr), "GetAppLogger")));
}

}  // namespace

IAppLogManager* GetAppLogger() {
    static const HostFunction host = FindHostFunction();
    if (host) return host();
    static LogerManager own;
    return &own;
}

void AppendFormat(LogRecord& record, const char* format, ...) {
    const int room = LOG_TEXT_CAPACITY - record.contentLength;
    if (room <= 0) return;
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(record.content + record.contentLength, static_cast<std::size_t>(room), format, arguments);
    va_end(arguments);
    record.contentLength = length < 0 || length >= room ? LOG_TEXT_CAPACITY : record.contentLength + length;
}

}  // namespace HalvorixAppLog

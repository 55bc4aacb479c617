// Texts of failed platform calls in the log.
#pragma once

#include <windows.h>

#include "vimbrel/AppLog.h"

namespace Vimbrel {

// Where a failure is logged from: the caller's file and line.
struct LogSite {
    const char* file;
    int line;

    // As a default argument: the place of the call that leaves it out.
    static constexpr LogSite Here(const char* file = __builtin_FILE(),
                                  int line = __builtin_LINE()) {
        return {file, line};
    }
};

// Logs "`call` failed - 0x%08X" if `result` is a failure. Returns `result`. Any thread.
HRESULT LogIfFailed(HRESULT result, const char* call,
                    HalvorixAppLog::LogLevel level = HalvorixAppLog::LOG_LEVEL_ERROR,
                    LogSite site = LogSite::Here());

// Logs "`text` hr=0x%08x" if `result` is a failure. Returns `result`. Any thread.
HRESULT LogHrIfFailed(HRESULT result, const char* text,
                      HalvorixAppLog::LogLevel level = HalvorixAppLog::LOG_LEVEL_ERROR,
                      LogSite site = LogSite::Here());

}  // namespace Vimbrel

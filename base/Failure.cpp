#include "base/Failure.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::GetAppLogger;
using HalvorixAppLog::LOGGER_MAIN;

// The sequence of a log site, with the site of the caller.
HRESULT Log(HRESULT result, const char* text, const char* ending, HalvorixAppLog::LogLevel level,
            const LogSite& site) {
    if (SUCCEEDED(result) || !GetAppLogger()->PreCheck(LOGGER_MAIN, level)) return result;
    HalvorixAppLog::LogRecord* const record = GetAppLogger()->MakeRecord(LOGGER_MAIN, level);
    HalvorixAppLog::AppendFormat(*record, "%s", text);
    HalvorixAppLog::AppendFormat(*record, ending, static_cast<unsigned>(result));
    GetAppLogger()->Submit(record, site.file, site.line);
    return result;
}

}  // namespace

HRESULT LogIfFailed(HRESULT result, const char* call, HalvorixAppLog::LogLevel level,
                    LogSite site) {
    return Log(result, call, " failed - 0x%08X", level, site);
}

HRESULT LogHrIfFailed(HRESULT result, const char* text, HalvorixAppLog::LogLevel level,
                      LogSite site) {
    return Log(result, text, " hr=0x%08x", level, site);
}

}  // namespace Vimbrel

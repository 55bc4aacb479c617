// Starts the library's own manager and ends without stopping it, with a static object that logs at
// its end. On Linux the manager is gone by then; on Windows it goes with its library, later.
#include "vimbrel/AppLog.h"

namespace {

struct LogsAtTheEnd {
    ~LogsAtTheEnd() {
        APPLOG_STREAM(HalvorixAppLog::LOG_LEVEL_FATAL, "logged at the end");
        HalvorixAppLog::IAppLogManager* const manager = HalvorixAppLog::GetAppLogger();
        manager->FreeRecord(
            manager->MakeRecord(HalvorixAppLog::LOGGER_MAIN, HalvorixAppLog::LOG_LEVEL_FATAL));
    }
} logs_at_the_end;

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    HalvorixAppLog::IAppLogManager* const manager = HalvorixAppLog::GetAppLogger();
    if (!manager->SetPath(HalvorixAppLog::LOGGER_MAIN, argv[1]) || !manager->Start()) return 3;
    APPLOG_STREAM(HalvorixAppLog::LOG_LEVEL_ERROR, "logged by main");
    return 0;
}

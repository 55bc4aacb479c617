// Writes lines into the library's log.
// [log]
#include <vimbrel/AppLog.h>

int main() {
    HalvorixAppLog::IAppLogManager* log = HalvorixAppLog::GetAppLogger();
    log->ConfigFromText("[Main]\nlevel = info\nlimitsize = 1");  // or Config(path), or setters
    log->SetAutoReload(30);  // with Config: reads the file again after more than 30 seconds
    log->Start();            // until then no log site writes anything
    const char* name = "dusk.jpg";
    APPLOG_FORMAT(HalvorixAppLog::LOG_LEVEL_ERROR, "open of %s failed - 0x%08X", name, 0x80070002U);
    APPLOG_STREAM(HalvorixAppLog::LOG_LEVEL_INFO, "took " << 12 << " frames of " << name);
    log->Stop();
    return 0;
}
// [end]

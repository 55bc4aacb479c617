#include "Log.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include "vimbrel/AppLog.h"

namespace studio {

namespace {

// In the order of their numbers.
constexpr const char* level_words[] = {"trace", "debug", "info", "warn", "error", "alarm", "fatal"};

// The library warns; what goes on otherwise is the progress line's to tell.
constexpr const char* default_configuration = "[Main]\nlevel=warn\noutfile=false\n";

}  // namespace

Log::~Log() {
    if (started) HalvorixAppLog::GetAppLogger()->Stop();
}

bool Log::Start(const LogOptions& options, std::string& error) {
    HalvorixAppLog::IAppLogManager* manager = HalvorixAppLog::GetAppLogger();
    if (options.config_file.empty()) {
        manager->ConfigFromText(default_configuration);
    } else if (!std::ifstream(options.config_file).good() ||
               !manager->Config(options.config_file.c_str())) {
        error = "--log-config " + options.config_file + ": cannot be read";
        return false;
    }
    if (!options.level.empty()) {
        const auto* found =
            std::find(std::begin(level_words), std::end(level_words), options.level);
        if (found == std::end(level_words)) {
            error = "--log-level " + options.level +
                    ": there are trace, debug, info, warn, error, alarm and fatal";
            return false;
        }
        manager->SetLevel(HalvorixAppLog::LOGGER_MAIN,
                          static_cast<int>(found - std::begin(level_words)));
    }
    asked_for = !options.config_file.empty() || !options.level.empty();
    started = manager->Start();
    if (!started) error = "the log cannot be started";
    return started;
}

void Log::ExpectStillScreens() {
    if (!asked_for)
        HalvorixAppLog::GetAppLogger()->SetLevel(HalvorixAppLog::LOGGER_MAIN,
                                                 HalvorixAppLog::LOG_LEVEL_ALARM);
}

}  // namespace studio

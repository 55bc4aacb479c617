// Configuration texts: no byte of them may do harm, and what they set keeps the setters' rules.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "log/LogerManager.h"

namespace {

class Manager : public HalvorixAppLog::LogerManager {
public:
    // Whether each logger has what the rest of the manager relies on.
    bool IsSound() const {
        for (std::int32_t id = 0; id <= lastId; ++id) {
            const std::string& path = loggers[id].path;
            if (path.empty() || (path.back() != '/' && path.back() != '\\')) return false;
            if (loggers[id].limitsize == 0 || loggers[id].reserve != 0) return false;
            if (loggers[id].level < HalvorixAppLog::LOG_LEVEL_TRACE ||
                loggers[id].level > HalvorixAppLog::LOG_LEVEL_FATAL)
                return false;
        }
        return lastId < HalvorixAppLog::LOGGER_MAX && loggers[0].key == "Main";
    }
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The warnings.
    if (!std::freopen("/dev/null", "w", stdout)) return 1;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t length) {
    const std::string text(reinterpret_cast<const char*>(bytes), length);
    Manager manager;
    manager.ConfigFromText(text.c_str());
    if (!manager.IsSound()) std::abort();
    // Once more over what there is, with another sum.
    manager.ConfigFromText((text + "\n#").c_str());
    if (!manager.IsSound()) std::abort();
    return 0;
}

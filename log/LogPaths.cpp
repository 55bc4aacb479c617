#include "log/LogPaths.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>

namespace HalvorixAppLog {

bool IsDirectory(const std::string& path) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool MakeDirectories(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    if (path.empty() || path.back() != '/') path += '/';
    for (std::size_t slash = path.find('/'); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        const std::string part = path.substr(0, slash);
        if (!part.empty() && !IsDirectory(part) && !CreateDirectoryA(part.c_str(), nullptr))
            return false;
    }
    return true;
}

std::string MonthDirectory(const std::tm& time) {
    char text[32];
    std::snprintf(text, sizeof text, "%04d_%02d/", time.tm_year + 1900, time.tm_mon + 1);
    return text;
}

std::string LogFileName(const std::string& process, const std::string& name, const std::tm& time,
                        const std::string& pid, std::uint32_t index) {
    char text[500];
    const int year = time.tm_year + 1900;
    const int month = time.tm_mon + 1;
    if (index == 0 && name == "Main") {
        std::snprintf(text, sizeof text, "%s_%04d%02d%02d%02d_%s.log", process.c_str(), year, month,
                      time.tm_mday, time.tm_hour, pid.c_str());
    } else {
        std::snprintf(text, sizeof text, "%s_%s_%04d%02d%02d%02d_%s_%03u.log", process.c_str(),
                      name.c_str(), year, month, time.tm_mday, time.tm_hour, pid.c_str(), index);
    }
    return text;
}

std::string ProcessName() {
    char text[260] = {};
    if (GetModuleFileNameA(nullptr, text, sizeof text) == 0) return "process";
    text[sizeof text - 1] = '\0';  // a longer path is cut, on some systems without a terminator
    std::string name(text);
    name.erase(0, name.find_last_of("/\\") + 1);
    return name.substr(0, name.rfind('.'));
}

}  // namespace HalvorixAppLog

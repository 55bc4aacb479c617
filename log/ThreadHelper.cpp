#include "log/ThreadHelper.h"

#include <system_error>

namespace HalvorixAppLog {

ThreadHelper::~ThreadHelper() { Join(); }

bool ThreadHelper::Launch() {
    if (handle.joinable()) return false;
    try {
        handle = std::thread([this] { Run(); });
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

void ThreadHelper::Join() {
    if (handle.joinable()) handle.join();
}

}  // namespace HalvorixAppLog

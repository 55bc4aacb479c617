#include "log/LogFile.h"

#include <windows.h>

namespace HalvorixAppLog {

bool LogFile::Open(const std::string& path) {
    Close();
    HANDLE opened = CreateFileA(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (opened == INVALID_HANDLE_VALUE) return false;
    handle = opened;
    return true;
}

std::uint32_t LogFile::Size() const {
    // By seeking rather than by asking for the size: some file systems then stamp every write with
    // a finer clock, which costs more than the write. Where the pointer stands does not matter to a
    // file that is appended to.
    LARGE_INTEGER position;
    position.QuadPart = 0;
    return SetFilePointerEx(handle, position, &position, FILE_END)
               ? static_cast<std::uint32_t>(position.QuadPart)
               : 0;
}

bool LogFile::Write(std::string_view text) {
    DWORD written = 0;
    return WriteFile(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) &&
           written == text.size();
}

void LogFile::Flush() { FlushFileBuffers(handle); }

void LogFile::Close() {
    if (handle) CloseHandle(handle);
    handle = nullptr;
}

}  // namespace HalvorixAppLog

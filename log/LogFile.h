// A file that records are appended to.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace HalvorixAppLog {

// Without a buffer of its own: each record is one write to the system. The file is opened and
// closed for every record, and the C library's streams would spend as much on that again as the
// file itself takes.
class LogFile {
public:
    LogFile() = default;
    ~LogFile() { Close(); }
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    // Closes what is open. Made if it is not there; not its directory.
    bool Open(const std::string& path);
    bool IsOpen() const { return handle != nullptr; }
    // Wraps at 4 GiB.
    std::uint32_t Size() const;
    // False if not all of it went in.
    bool Write(std::string_view text);
    // To the disk.
    void Flush();
    void Close();

private:
    void* handle = nullptr;
};

}  // namespace HalvorixAppLog

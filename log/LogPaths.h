// Names and places of log files. Narrow bytes throughout, as the file calls take them.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace HalvorixAppLog {

bool IsDirectory(const std::string& path);

// Makes `path` and what is missing above it. False at the first that cannot be made.
bool MakeDirectories(std::string path);

// "2025_04/"
std::string MonthDirectory(const std::tm& time);

// The short form without name and index only for a logger named exactly "Main" and index 0. Cut at
// 499 bytes.
std::string LogFileName(const std::string& process, const std::string& name, const std::tm& time,
                        const std::string& pid, std::uint32_t index);

// The name of the running program without directory and extension; "process" if the system does not
// report it.
std::string ProcessName();

}  // namespace HalvorixAppLog

#include "platform/linux/kernel/FreeMemory.h"

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <string>

namespace Vimbrel {

namespace {

constexpr std::uint64_t unknown = std::numeric_limits<std::uint64_t>::max();

std::uint64_t NumberIn(const char* path) {
    std::ifstream file(path);
    std::uint64_t number = 0;
    return file >> number ? number : unknown;
}

std::uint64_t OfTheSystem() {
    std::ifstream file("/proc/meminfo");
    for (std::string word; file >> word;) {
        std::uint64_t kibibytes = 0;
        if (word == "MemAvailable:" && file >> kibibytes) return kibibytes * 1024;
    }
    const long pages = sysconf(_SC_AVPHYS_PAGES);
    const long size = sysconf(_SC_PAGESIZE);
    if (pages < 0 || size < 0) return unknown;
    return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(size);
}

// Cached files that the group would give back; memory.current counts them as used.
std::uint64_t CachedByTheGroup() {
    std::ifstream file("/sys/fs/cgroup/memory.stat");
    std::uint64_t bytes = 0;
    std::uint64_t number = 0;
    for (std::string word; file >> word >> number;) {
        if (word == "inactive_file" || word == "active_file") bytes += number;
    }
    return bytes;
}

// Containers see their own group as the root. A file that is missing, or says "max", sets no bound.
std::uint64_t OfTheGroup() {
    const std::uint64_t most = NumberIn("/sys/fs/cgroup/memory.max");
    const std::uint64_t used = NumberIn("/sys/fs/cgroup/memory.current");
    if (most == unknown || used == unknown) return unknown;
    const std::uint64_t held = used - std::min(used, CachedByTheGroup());
    return most > held ? most - held : 0;
}

}  // namespace

std::uint64_t FreeMemory() { return std::min(OfTheSystem(), OfTheGroup()); }

}  // namespace Vimbrel

#include "outputs/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace studio {

Progress::Progress() : terminal(isatty(STDOUT_FILENO) != 0) {}

Progress::~Progress() {
    if (line_open) std::printf("\n");
}

bool Progress::IsDue(bool last) {
    const auto now = std::chrono::steady_clock::now();
    if (now < next && !last) return false;
    next = now + (terminal ? std::chrono::milliseconds(200) : std::chrono::milliseconds(1000));
    return true;
}

void Progress::Show(double scene_seconds, std::uint64_t frames, std::uint64_t skipped,
                    const std::vector<std::unique_ptr<Output>>& outputs,
                    const std::string& levels) {
    std::uint64_t dropped = skipped;
    std::string sizes;
    for (const auto& output : outputs) {
        const OutputStatus status = output->Status();
        dropped += status.dropped;
        sizes += "  " + output->ShortName() + " " + output->State();
    }
    const int minutes = static_cast<int>(scene_seconds / 60);
    char counts[96];
    std::snprintf(counts, sizeof counts, "%02d:%04.1f  frames %llu  dropped %llu", minutes,
                  scene_seconds - minutes * 60, static_cast<unsigned long long>(frames),
                  static_cast<unsigned long long>(dropped));
    std::string line = counts + sizes + levels;
    if (terminal) {
        // The blanks cover what a longer line before may have left.
        longest = std::max(longest, line.size());
        line.resize(longest, ' ');
    }
    std::printf(terminal ? "\r%s" : "%s\n", line.c_str());
    std::fflush(stdout);
    line_open = terminal;
}

}  // namespace studio

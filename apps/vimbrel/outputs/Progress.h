// The line that shows the progress of a run.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "outputs/Output.h"

namespace studio {

// On a terminal one line that renews itself; elsewhere a line a second.
class Progress {
public:
    Progress();
    ~Progress();

    // Whether it is time to show the state; with `last` in any case.
    bool IsDue(bool last);
    // Shows it. `levels` are those of the sound.
    void Show(double scene_seconds, std::uint64_t frames, std::uint64_t skipped,
              const std::vector<std::unique_ptr<Output>>& outputs, const std::string& levels);

private:
    bool terminal;
    bool line_open = false;
    std::size_t longest = 0;  // of the lines that stand in one place
    std::chrono::steady_clock::time_point next;
};

}  // namespace studio

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

    // Shows the state, if it is time to; with `last` in any case.
    void Show(double scene_seconds, std::uint64_t frames, std::uint64_t skipped,
              const std::vector<std::unique_ptr<Output>>& outputs, bool last);

private:
    bool terminal;
    bool line_open = false;
    std::chrono::steady_clock::time_point next;
};

}  // namespace studio

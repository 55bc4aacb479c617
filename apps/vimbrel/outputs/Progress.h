// What a run tells while it goes on and at its end.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "outputs/Output.h"
#include "sound/SoundMixer.h"

namespace studio {

struct RunState {
    double seconds = 0;         // of the scene
    std::uint64_t frames = 0;   // composed
    std::uint64_t skipped = 0;  // not composed, since the run was too far behind
    std::vector<SoundLevel> levels;
};

using Outputs = std::vector<std::unique_ptr<Output>>;

// As text: on a terminal one line that renews itself, elsewhere a line a second. As JSON: a
// document a line, five times a second.
class Progress {
public:
    explicit Progress(bool as_json);
    ~Progress();

    // Whether it is time to show the state.
    bool IsDue();
    void Show(const RunState& state, const Outputs& outputs);
    // An output is whole, or failed for a reason.
    void ShowEnd(const Output& output, std::uint64_t skipped);
    void ShowFailure(const Output& output, const std::string& error);

private:
    void ShowText(const RunState& state, const Outputs& outputs);
    void EndLine();

    const bool json;
    const bool terminal;
    bool line_open = false;
    std::size_t longest = 0;  // of the lines that stand in one place
    std::chrono::steady_clock::time_point next;
};

}  // namespace studio

// Composing a scene and feeding its outputs.
#pragma once

#include "scene/Scene.h"

namespace studio {

// What main returns.
enum ExitCode {
    exit_done = 0,
    exit_output_failed = 1,
    exit_bad_input = 2,
    exit_no_connection = 3,  // of a stream: none, or lost
    exit_stream_refused = 4,
};

struct RunSettings {
    double seconds = 0;    // 0: for ever
    bool json = false;     // progress and ends of outputs as a JSON document per line
    bool preview = false;  // shows the run in a window
};

// Runs the scene by the clock until the seconds have passed or the user interrupts. Messages and
// progress go to the terminal.
ExitCode RunScene(const Scene& scene, const std::string& scene_name, const RunSettings& settings);

}  // namespace studio

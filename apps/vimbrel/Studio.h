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

// Runs the scene by the clock until `seconds` have passed (0: for ever) or the user interrupts.
// Messages and progress go to the terminal.
ExitCode RunScene(const Scene& scene, const std::string& scene_name, double seconds);

}  // namespace studio

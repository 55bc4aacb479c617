// Looking at a scene without running it.
#pragma once

#include <string>

#include "Studio.h"

namespace studio {

// Prints what a run of the scene would open, and complains of everything that it could not open.
// Files are read; devices, windows and screens are looked up and not opened, servers are not asked.
ExitCode CheckScene(const Scene& scene, const std::string& scene_name);

}  // namespace studio

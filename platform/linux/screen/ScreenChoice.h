// The windowing system that the screen is read from.
#pragma once

#include "vimbrel/ScreenAccess.h"

namespace Vimbrel {

inline bool IsWaylandChosen() { return CurrentScreenSystem() == ScreenSystem::Wayland; }

}  // namespace Vimbrel

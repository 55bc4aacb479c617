// The microphones and sound outputs of the system.
#pragma once

#include <nlohmann/json_fwd.hpp>

namespace studio {

// "microphones" and "outputs", each a list of {"name", "default"}. Starts COM for itself.
nlohmann::json ListSoundDevices();

}  // namespace studio

// The microphones and sound outputs of the system.
#pragma once

namespace studio {

// The command "devices".
void PrintSoundDevices();

}  // namespace studio

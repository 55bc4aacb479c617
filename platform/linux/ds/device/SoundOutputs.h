// The outputs of the sound server.
#pragma once

#include "platform/linux/ds/device/DeviceEntry.h"

namespace Vimbrel {

// Each sink twice, as the other platform lists them: "DirectSound: " and its description, and the
// description alone; and the two defaults. Empty without a server.
std::vector<DeviceEntry> ListSoundOutputs();

}  // namespace Vimbrel

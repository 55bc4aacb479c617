// The microphones of the sound server.
#pragma once

#include "platform/linux/ds/device/DeviceEntry.h"

namespace Vimbrel {

// Its sources without the monitors of sinks, by their descriptions. Empty without a server.
std::vector<DeviceEntry> ListMicrophones();

}  // namespace Vimbrel

// The cameras of the system.
#pragma once

#include "platform/linux/ds/device/DeviceEntry.h"

namespace Vimbrel {

std::vector<DeviceEntry> ListCameras();
// Of another folder than that of the system's devices.
std::vector<DeviceEntry> ListCamerasBelow(const std::string& folder);

}  // namespace Vimbrel

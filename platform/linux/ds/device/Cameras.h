// The cameras of the system.
#pragma once

#include "platform/linux/ds/device/DeviceEntry.h"

namespace Vimbrel {

std::vector<DeviceEntry> ListCameras();

}  // namespace Vimbrel

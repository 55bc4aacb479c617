#include "platform/linux/ds/device/Cameras.h"

namespace Vimbrel {

std::vector<DeviceEntry> ListCameras() { return {}; }

}  // namespace Vimbrel

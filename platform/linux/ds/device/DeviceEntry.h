// A device as the lists have it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "filters/FilterNames.h"

namespace Vimbrel {

struct DeviceEntry {
    std::wstring name;  // "FriendlyName"
    std::wstring path;  // "DevicePath"; a device without one has no such property
    // Makes the device's filter, anew each time. Any thread.
    std::function<HRESULT(REFIID iid, void** filter)> create;
};

// Lists the devices of a category as they are now, in a stable order.
using DeviceLister = std::vector<DeviceEntry> (*)();

struct DeviceCategory {
    CLSID category;
    DeviceLister list;
};

}  // namespace Vimbrel

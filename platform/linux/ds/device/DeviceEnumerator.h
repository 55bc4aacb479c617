// The devices of each category as monikers.
#pragma once

#include <span>

#include "com/ComObject.h"
#include "platform/linux/ds/device/DeviceEntry.h"

namespace Vimbrel {

// Any thread.
class DeviceEnumerator final : public ComObject<Implements<ICreateDevEnum>> {
public:
    explicit DeviceEnumerator(std::span<const DeviceCategory> categories)
        : categories_(categories) {}

    // S_FALSE and null for a category without devices, which an unknown one is too.
    HRESULT STDMETHODCALLTYPE CreateClassEnumerator(REFCLSID category, IEnumMoniker** enumerator,
                                                    DWORD flags) override;

private:
    const std::span<const DeviceCategory> categories_;
};

// `categories` outlive the object.
HRESULT CreateDeviceEnumerator(std::span<const DeviceCategory> categories, REFIID iid,
                               void** object);

}  // namespace Vimbrel

#include "platform/linux/ds/device/DeviceEnumerator.h"

#include <new>

#include "filters/Enumerators.h"
#include "platform/linux/ds/device/Moniker.h"

namespace Vimbrel {

HRESULT STDMETHODCALLTYPE DeviceEnumerator::CreateClassEnumerator(REFCLSID category,
                                                                  IEnumMoniker** enumerator,
                                                                  DWORD) try {
    if (!enumerator) return E_POINTER;
    *enumerator = nullptr;
    ObjectEnumerator<IEnumMoniker, IMoniker>::Objects monikers;
    for (const DeviceCategory& each : categories_) {
        if (each.category != category) continue;
        for (DeviceEntry& device : each.list())
            monikers.emplace_back(MakeCom<Moniker>(category, std::move(device)).Get());
    }
    if (monikers.empty()) return S_FALSE;
    *enumerator = MakeCom<ObjectEnumerator<IEnumMoniker, IMoniker>>(std::move(monikers)).Detach();
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT CreateDeviceEnumerator(std::span<const DeviceCategory> categories, REFIID iid,
                               void** object) {
    return CreateCom<DeviceEnumerator>(iid, object, categories);
}

}  // namespace Vimbrel

#include "platform/linux/coreaudio/Endpoint.h"

#include <new>

#include "platform/linux/coreaudio/AudioClient.h"
#include "platform/linux/coreaudio/EndpointVolume.h"
#include "platform/linux/coreaudio/PropertyStore.h"

namespace Vimbrel {

HRESULT Endpoint::Activate(REFIID iid, DWORD, PROPVARIANT* parameters, void** object) try {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (parameters) return E_INVALIDARG;
    if (iid == __uuidof(IAudioClient)) {
        *object =
            static_cast<IAudioClient*>(MakeCom<AudioClient>(connection_, device_, flow_).Detach());
        return S_OK;
    }
    if (iid == __uuidof(IAudioEndpointVolume) && flow_ == eRender) {
        *object = static_cast<IAudioEndpointVolume*>(
            MakeCom<EndpointVolume>(connection_, device_.name).Detach());
        return S_OK;
    }
    return E_NOINTERFACE;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT Endpoint::OpenPropertyStore(DWORD access, IPropertyStore** store) try {
    if (!store) return E_POINTER;
    *store = nullptr;
    if (access != STGM_READ) return E_ACCESSDENIED;
    *store = MakeCom<PropertyStore>(device_.description).Detach();
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT Endpoint::GetDataFlow(EDataFlow* flow) {
    if (!flow) return E_POINTER;
    *flow = flow_;
    return S_OK;
}

}  // namespace Vimbrel

#include "platform/linux/coreaudio/Endpoint.h"

#include "platform/linux/coreaudio/AudioClient.h"
#include "platform/linux/coreaudio/EndpointVolume.h"
#include "platform/linux/coreaudio/PropertyStore.h"

namespace Vimbrel {

HRESULT Endpoint::Activate(REFIID iid, DWORD, PROPVARIANT* parameters, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (parameters) return E_INVALIDARG;
    if (iid == __uuidof(IAudioClient))
        return CreateCom<AudioClient>(iid, object, connection_, device_, flow_);
    if (iid == __uuidof(IAudioEndpointVolume) && flow_ == eRender)
        return CreateCom<EndpointVolume>(iid, object, connection_, device_.name);
    return E_NOINTERFACE;
}

HRESULT Endpoint::OpenPropertyStore(DWORD access, IPropertyStore** store) {
    if (!store) return E_POINTER;
    *store = nullptr;
    if (access != STGM_READ) return E_ACCESSDENIED;
    return CreateCom<PropertyStore>(store, device_.description);
}

HRESULT Endpoint::GetDataFlow(EDataFlow* flow) {
    if (!flow) return E_POINTER;
    *flow = flow_;
    return S_OK;
}

}  // namespace Vimbrel

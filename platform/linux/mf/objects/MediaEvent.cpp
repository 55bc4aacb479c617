#include "platform/linux/mf/objects/MediaEvent.h"

#include <new>

namespace Vimbrel {

HRESULT MediaEvent::Create(MediaEventType type, REFGUID extended_type, HRESULT status,
                           const PROPVARIANT* value, ComPtr<IMFMediaEvent>& event) try {
    PropertyValue copy;
    if (value) {
        if (const HRESULT hr = copy.CopyFrom(*value); FAILED(hr)) return hr;
    }
    event.Attach(MakeCom<MediaEvent>(type, extended_type, status, std::move(copy)).Detach());
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT STDMETHODCALLTYPE MediaEvent::GetType(MediaEventType* type) {
    if (!type) return E_POINTER;
    *type = type_;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaEvent::GetExtendedType(GUID* type) {
    if (!type) return E_POINTER;
    *type = extended_type_;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaEvent::GetStatus(HRESULT* status) {
    if (!status) return E_POINTER;
    *status = status_;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaEvent::GetValue(PROPVARIANT* value) {
    if (!value) return E_POINTER;
    return PropVariantCopy(value, &value_.Get());
}

}  // namespace Vimbrel

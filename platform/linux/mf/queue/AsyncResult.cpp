#include "platform/linux/mf/queue/AsyncResult.h"

namespace Vimbrel {

HRESULT STDMETHODCALLTYPE AsyncResult::GetState(IUnknown** state) {
    if (!state) return E_POINTER;
    *state = nullptr;
    return state_ ? state_.CopyTo(state) : E_POINTER;
}

HRESULT STDMETHODCALLTYPE AsyncResult::SetStatus(HRESULT status) {
    status_ = status;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE AsyncResult::GetObject(IUnknown** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    return object_ ? object_.CopyTo(object) : E_POINTER;
}

}  // namespace Vimbrel

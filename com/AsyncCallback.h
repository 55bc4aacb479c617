// The platform's callback interface as a member of the object that is called.
#pragma once

#include <mfidl.h>

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Its references are the owner's. Invoke calls one of the owner's members.
template <class Owner>
class AsyncCallback final : public IMFAsyncCallback {
public:
    using Function = HRESULT (Owner::*)(IMFAsyncResult* result);

    AsyncCallback(Owner* called, Function with) : owner(called), function(with) {}
    AsyncCallback(const AsyncCallback&) = delete;
    AsyncCallback& operator=(const AsyncCallback&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (iid != __uuidof(IUnknown) && iid != __uuidof(IMFAsyncCallback)) return E_NOINTERFACE;
        *object = static_cast<IMFAsyncCallback*>(this);
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return owner->AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return owner->Release(); }

    // Nothing to tell: the default queue and no promise about speed.
    HRESULT STDMETHODCALLTYPE GetParameters(DWORD*, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(IMFAsyncResult* result) override {
        return (owner->*function)(result);
    }

private:
    Owner* owner;
    Function function;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

// An operation on its way to its callback; also what the work queue takes.
#pragma once

#include <mfobjects.h>

#include <atomic>

#include "com/ComObject.h"

namespace Vimbrel {

class AsyncResult final : public ComObject<Implements<IMFAsyncResult>> {
public:
    AsyncResult(IUnknown* object, IMFAsyncCallback* callback, IUnknown* state)
        : object_(object), callback_(callback), state_(state) {}

    HRESULT STDMETHODCALLTYPE GetState(IUnknown** state) override;
    HRESULT STDMETHODCALLTYPE GetStatus() override { return status_; }
    HRESULT STDMETHODCALLTYPE SetStatus(HRESULT status) override;
    HRESULT STDMETHODCALLTYPE GetObject(IUnknown** object) override;
    IUnknown* STDMETHODCALLTYPE GetStateNoAddRef() override { return state_.Get(); }

    IMFAsyncCallback* Callback() const { return callback_.Get(); }
    void InvokeCallback() { callback_->Invoke(this); }

private:
    const ComPtr<IUnknown> object_;
    const ComPtr<IMFAsyncCallback> callback_;
    const ComPtr<IUnknown> state_;
    std::atomic<HRESULT> status_{S_OK};
};

}  // namespace Vimbrel

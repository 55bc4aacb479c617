// A function as the callback of an asynchronous operation.
#pragma once

#include <mfobjects.h>

#include <functional>

#include "com/ComObject.h"

namespace Vimbrel {

class FunctionCallback final : public ComObject<Implements<IMFAsyncCallback>> {
public:
    using Function = std::function<void(IMFAsyncResult*)>;
    explicit FunctionCallback(Function function) : function_(std::move(function)) {}

    HRESULT STDMETHODCALLTYPE GetParameters(DWORD*, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(IMFAsyncResult* result) override {
        function_(result);
        return S_OK;
    }

private:
    const Function function_;
};

}  // namespace Vimbrel

// The name of a device.
#pragma once

#include "com/ComObject.h"
#include "platform/linux/ds/device/DeviceEntry.h"

namespace Vimbrel {

// Binds to the device's filter and to its properties. What composes, stores or parses names has no
// use with devices: E_NOTIMPL. Any thread.
class Moniker final : public ComObject<Implements<IMoniker, IPersistStream, IPersist>> {
public:
    Moniker(REFCLSID category, DeviceEntry device)
        : category_(category), device_(std::move(device)) {}

    HRESULT STDMETHODCALLTYPE GetClassID(CLSID* clsid) override;
    HRESULT STDMETHODCALLTYPE IsDirty() override { return S_FALSE; }
    HRESULT STDMETHODCALLTYPE Load(IStream*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Save(IStream*, BOOL) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSizeMax(ULARGE_INTEGER*) override { return E_NOTIMPL; }

    HRESULT STDMETHODCALLTYPE BindToObject(IBindCtx* context, IMoniker* left, REFIID iid,
                                           void** object) override;
    // IPropertyBag alone.
    HRESULT STDMETHODCALLTYPE BindToStorage(IBindCtx* context, IMoniker* left, REFIID iid,
                                            void** storage) override;
    HRESULT STDMETHODCALLTYPE Reduce(IBindCtx*, DWORD, IMoniker**, IMoniker**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE ComposeWith(IMoniker*, BOOL, IMoniker**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Enum(BOOL, IEnumMoniker**) override { return E_NOTIMPL; }
    // By the display name.
    HRESULT STDMETHODCALLTYPE IsEqual(IMoniker* other) override;
    HRESULT STDMETHODCALLTYPE Hash(DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsRunning(IBindCtx*, IMoniker*, IMoniker*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetTimeOfLastChange(IBindCtx*, IMoniker*, FILETIME*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Inverse(IMoniker**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CommonPrefixWith(IMoniker*, IMoniker**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE RelativePathTo(IMoniker*, IMoniker**) override { return E_NOTIMPL; }
    // The category, and the path or else the name; freed by the caller with CoTaskMemFree.
    HRESULT STDMETHODCALLTYPE GetDisplayName(IBindCtx* context, IMoniker* left,
                                             LPWSTR* name) override;
    HRESULT STDMETHODCALLTYPE ParseDisplayName(IBindCtx*, IMoniker*, LPWSTR, ULONG*,
                                               IMoniker**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE IsSystemMoniker(DWORD*) override { return E_NOTIMPL; }

private:
    const CLSID category_;
    const DeviceEntry device_;
};

}  // namespace Vimbrel

// A device's moniker without what device lists never ask.
#pragma once

#include <objidl.h>

#include "com/ComObject.h"

namespace Vimbrel::test {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Binding is left to the derived class, which may have more `Others`.
template <class... Others>
class StubMoniker : public ComObject<Implements<IMoniker, IPersistStream, IPersist>, Others...> {
public:
    HRESULT STDMETHODCALLTYPE GetClassID(CLSID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsDirty() override { return S_FALSE; }
    HRESULT STDMETHODCALLTYPE Load(IStream*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Save(IStream*, BOOL) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSizeMax(ULARGE_INTEGER*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reduce(IBindCtx*, DWORD, IMoniker**, IMoniker**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE ComposeWith(IMoniker*, BOOL, IMoniker**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Enum(BOOL, IEnumMoniker**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsEqual(IMoniker*) override { return E_NOTIMPL; }
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
    HRESULT STDMETHODCALLTYPE GetDisplayName(IBindCtx*, IMoniker*, LPWSTR*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE ParseDisplayName(IBindCtx*, IMoniker*, LPWSTR, ULONG*,
                                               IMoniker**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE IsSystemMoniker(DWORD*) override { return E_NOTIMPL; }
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel::test

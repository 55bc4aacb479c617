#include "platform/linux/ds/device/Moniker.h"

#include <cstring>
#include <cwchar>
#include <new>

#include "platform/linux/ds/device/PropertyBag.h"

namespace Vimbrel {

HRESULT STDMETHODCALLTYPE Moniker::GetClassID(CLSID* clsid) {
    if (!clsid) return E_POINTER;
    *clsid = category_;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE Moniker::BindToObject(IBindCtx*, IMoniker*, REFIID iid,
                                                void** object) try {
    if (!object) return E_POINTER;
    *object = nullptr;
    return device_.create ? device_.create(iid, object) : E_NOTIMPL;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT STDMETHODCALLTYPE Moniker::BindToStorage(IBindCtx*, IMoniker*, REFIID iid, void** storage) {
    if (!storage) return E_POINTER;
    return CreateCom<PropertyBag>(iid, storage, device_.name, device_.path);
}

HRESULT STDMETHODCALLTYPE Moniker::IsEqual(IMoniker* other) {
    if (!other) return E_INVALIDARG;
    LPWSTR own = nullptr;
    LPWSTR others = nullptr;
    HRESULT hr = GetDisplayName(nullptr, nullptr, &own);
    if (SUCCEEDED(hr)) hr = other->GetDisplayName(nullptr, nullptr, &others);
    if (SUCCEEDED(hr)) hr = std::wcscmp(own, others) == 0 ? S_OK : S_FALSE;
    CoTaskMemFree(own);
    CoTaskMemFree(others);
    return hr;
}

HRESULT STDMETHODCALLTYPE Moniker::GetDisplayName(IBindCtx*, IMoniker*, LPWSTR* name) {
    if (!name) return E_POINTER;
    wchar_t category[16];
    std::swprintf(category, 16, L"%08X", static_cast<unsigned>(category_.Data1));
    const std::wstring text = std::wstring(L"@device:") + category + L"\\" +
                              (device_.path.empty() ? device_.name : device_.path);
    const std::size_t size = (text.size() + 1) * sizeof(wchar_t);
    *name = static_cast<LPWSTR>(CoTaskMemAlloc(size));
    if (!*name) return E_OUTOFMEMORY;
    std::memcpy(*name, text.c_str(), size);
    return S_OK;
}

}  // namespace Vimbrel

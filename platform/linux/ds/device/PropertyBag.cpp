#include "platform/linux/ds/device/PropertyBag.h"

#include <string_view>

namespace Vimbrel {

HRESULT STDMETHODCALLTYPE PropertyBag::Read(LPCOLESTR name, VARIANT* value, IErrorLog*) {
    if (!name || !value) return E_POINTER;
    const std::wstring_view asked(name);
    const std::wstring* found = nullptr;
    if (asked == L"FriendlyName") found = &name_;
    if (asked == L"DevicePath" && !path_.empty()) found = &path_;
    if (!found) return E_INVALIDARG;
    if (value->vt != VT_EMPTY && value->vt != VT_BSTR) return DISP_E_TYPEMISMATCH;
    auto* const text = SysAllocString(found->c_str());
    if (!text) return E_OUTOFMEMORY;
    value->vt = VT_BSTR;
    value->bstrVal = text;
    return S_OK;
}

// The devices are the system's: nobody renames them here.
HRESULT STDMETHODCALLTYPE PropertyBag::Write(LPCOLESTR, VARIANT*) { return E_ACCESSDENIED; }

}  // namespace Vimbrel

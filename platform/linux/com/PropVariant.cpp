#include <propidl.h>

#include <cstring>
#include <cwchar>

namespace {

// Null if there is no memory, or nothing to copy.
template <class Item>
Item* CopyOf(const Item* items, std::size_t count) {
    void* copy = items ? CoTaskMemAlloc(count * sizeof(Item)) : nullptr;
    if (copy) std::memcpy(copy, items, count * sizeof(Item));
    return static_cast<Item*>(copy);
}

}  // namespace

extern "C" HRESULT WINAPI PropVariantClear(PROPVARIANT* value) {
    if (!value) return S_OK;
    HRESULT result = S_OK;
    switch (value->vt) {
        case VT_EMPTY:
        case VT_NULL:
        case VT_I2:
        case VT_I4:
        case VT_R4:
        case VT_R8:
        case VT_BOOL:
        case VT_UI1:
        case VT_UI2:
        case VT_UI4:
        case VT_I8:
        case VT_UI8:
            break;
        case VT_UNKNOWN:
            if (value->punkVal) value->punkVal->Release();
            break;
        case VT_LPSTR:
            CoTaskMemFree(value->pszVal);
            break;
        case VT_LPWSTR:
            CoTaskMemFree(value->pwszVal);
            break;
        case VT_CLSID:
            CoTaskMemFree(value->puuid);
            break;
        case VT_VECTOR | VT_UI1:
            CoTaskMemFree(value->caub.pElems);
            break;
        default:
            result = E_INVALIDARG;
            break;
    }
    *value = PROPVARIANT{};
    return result;
}

extern "C" HRESULT WINAPI PropVariantCopy(PROPVARIANT* target, const PROPVARIANT* source) {
    if (!target || !source) return E_INVALIDARG;
    PROPVARIANT copy = *source;
    bool missing = false;  // something to copy, and no memory for it
    switch (source->vt) {
        case VT_UNKNOWN:
            if (copy.punkVal) copy.punkVal->AddRef();
            break;
        case VT_LPSTR:
            if (source->pszVal)
                missing = !(copy.pszVal = CopyOf(source->pszVal, std::strlen(source->pszVal) + 1));
            break;
        case VT_LPWSTR:
            if (source->pwszVal)
                missing =
                    !(copy.pwszVal = CopyOf(source->pwszVal, std::wcslen(source->pwszVal) + 1));
            break;
        case VT_CLSID:
            if (source->puuid) missing = !(copy.puuid = CopyOf(source->puuid, 1));
            break;
        case VT_VECTOR | VT_UI1:
            if (source->caub.pElems)
                missing = !(copy.caub.pElems = CopyOf(source->caub.pElems, source->caub.cElems));
            break;
        default: {
            // Asked of a copy: clearing a value of these types frees nothing.
            PROPVARIANT plain = *source;
            if (FAILED(PropVariantClear(&plain))) {
                *target = PROPVARIANT{};
                return E_INVALIDARG;
            }
            break;
        }
    }
    *target = missing ? PROPVARIANT{} : copy;
    return missing ? E_OUTOFMEMORY : S_OK;
}

#include <propidl.h>

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

// Texts with a length, values that own them, and the dialog of property pages.
#include <objbase.h>
#include <oleauto.h>
#include <olectl.h>

#include <cstring>
#include <cwchar>

namespace {

// The length in bytes stands in the four bytes in front of the text. The memory begins eight bytes
// in front, which keeps the text aligned.
constexpr std::size_t front = 8;

BYTE* MemoryOf(BSTR text) { return reinterpret_cast<BYTE*>(text) - front; }

}  // namespace

extern "C" {

BSTR WINAPI SysAllocString(LPCOLESTR text) {
    if (!text) return nullptr;
    const std::size_t size = std::wcslen(text) * sizeof(wchar_t);
    auto* const memory = static_cast<BYTE*>(CoTaskMemAlloc(front + size + sizeof(wchar_t)));
    if (!memory) return nullptr;
    const auto length = static_cast<std::uint32_t>(size);
    std::memcpy(memory + front - sizeof length, &length, sizeof length);
    std::memcpy(memory + front, text, size + sizeof(wchar_t));
    return reinterpret_cast<BSTR>(memory + front);
}

void WINAPI SysFreeString(BSTR text) {
    if (text) CoTaskMemFree(MemoryOf(text));
}

UINT WINAPI SysStringLen(BSTR text) {
    if (!text) return 0;
    std::uint32_t length = 0;
    std::memcpy(&length, reinterpret_cast<BYTE*>(text) - sizeof length, sizeof length);
    return length / static_cast<std::uint32_t>(sizeof(wchar_t));
}

void WINAPI VariantInit(VARIANT* value) { *value = VARIANT{}; }

HRESULT WINAPI VariantClear(VARIANT* value) {
    if (!value) return E_INVALIDARG;
    switch (value->vt) {
        case VT_EMPTY:
        case VT_NULL:
        case VT_I4:
        case VT_UI4:
        case VT_I8:
        case VT_UI8:
        case VT_R8:
        case VT_BOOL:
            break;
        case VT_BSTR:
            SysFreeString(value->bstrVal);
            break;
        default:
            return DISP_E_BADVARTYPE;
    }
    *value = VARIANT{};
    return S_OK;
}

HRESULT WINAPI OleCreatePropertyFrame(HWND, UINT, UINT, LPCOLESTR, ULONG object_count,
                                      IUnknown** objects, ULONG page_count, CLSID* pages, LCID,
                                      DWORD, void*) {
    if (object_count == 0 || !objects || page_count == 0 || !pages) return E_POINTER;
    return REGDB_E_CLASSNOTREG;
}

}  // extern "C"

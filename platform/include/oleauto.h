// Texts with a length, and values that own them. Inside the library only.
#pragma once

#include "oaidl.h"

extern "C" {

// A copy of the text; null for null, and without memory.
BSTR WINAPI SysAllocString(LPCOLESTR text);
// Takes null.
void WINAPI SysFreeString(BSTR text);
// In characters, without the terminator; 0 for null.
UINT WINAPI SysStringLen(BSTR text);

void WINAPI VariantInit(VARIANT* value);
// Frees what the value owns and makes it VT_EMPTY. E_INVALIDARG for null, DISP_E_BADVARTYPE for
// a type that cannot be cleared, which stays as it is.
HRESULT WINAPI VariantClear(VARIANT* value);

}  // extern "C"

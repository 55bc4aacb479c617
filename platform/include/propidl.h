// Property values. The layout is the published one; the union holds the members that the library
// uses.
#pragma once

#include "objbase.h"

using VARTYPE = USHORT;

enum VARENUM : VARTYPE {
    VT_EMPTY = 0,
    VT_NULL = 1,
    VT_I2 = 2,
    VT_I4 = 3,
    VT_R4 = 4,
    VT_R8 = 5,
    VT_BSTR = 8,
    VT_BOOL = 11,
    VT_UNKNOWN = 13,
    VT_UI1 = 17,
    VT_UI2 = 18,
    VT_UI4 = 19,
    VT_I8 = 20,
    VT_UI8 = 21,
    VT_LPSTR = 30,
    VT_LPWSTR = 31,
    VT_CLSID = 72,
    VT_VECTOR = 0x1000,
};

struct CAUB {
    ULONG cElems;
    UCHAR* pElems;
};

struct PROPVARIANT {
    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union {
        UCHAR bVal;
        SHORT iVal;
        USHORT uiVal;
        LONG lVal;
        ULONG ulVal;
        FLOAT fltVal;
        double dblVal;
        VARIANT_BOOL boolVal;
        LARGE_INTEGER hVal;
        ULARGE_INTEGER uhVal;
        CLSID* puuid;
        LPSTR pszVal;
        LPWSTR pwszVal;
        IUnknown* punkVal;
        CAUB caub;
    };
};

using REFPROPVARIANT = const PROPVARIANT&;

inline void PropVariantInit(PROPVARIANT* value) { *value = PROPVARIANT{}; }

extern "C" {

// Frees what the value owns with CoTaskMemFree, or releases it, and makes it VT_EMPTY. E_INVALIDARG
// for a type outside VARENUM, which is then emptied all the same; S_OK for null.
VIMBREL_API HRESULT WINAPI PropVariantClear(PROPVARIANT* value);

// Overwrites `target`, whatever it holds, with a copy that owns what it points to; of an interface
// it adds a reference. A failure leaves VT_EMPTY: E_OUTOFMEMORY, or E_INVALIDARG for a type outside
// VARENUM. Inside the library only.
HRESULT WINAPI PropVariantCopy(PROPVARIANT* target, const PROPVARIANT* source);

}  // extern "C"

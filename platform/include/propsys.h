// Property stores, cut to what is called. Inside the library only.
#pragma once

#include "propidl.h"
#include "unknwn.h"

struct PROPERTYKEY {
    GUID fmtid;
    DWORD pid;
};
using REFPROPERTYKEY = const PROPERTYKEY&;

struct IPropertyStore : IUnknown {
    // The caller clears the value. S_OK and VT_EMPTY for a key that the store does not have.
    virtual HRESULT STDMETHODCALLTYPE GetValue(REFPROPERTYKEY key, PROPVARIANT* value) = 0;
};
VIMBREL_INTERFACE_ID(IPropertyStore, 0x886d8eeb, 0x8cf2, 0x4446, 0x8d, 0x02, 0xcd, 0xba, 0x1d, 0xbd,
                     0xcf, 0x99);

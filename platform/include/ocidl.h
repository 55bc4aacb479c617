// Property pages of an object. Inside the library only.
#pragma once

#include "unknwn.h"

typedef struct tagCAUUID {
    ULONG cElems;
    GUID* pElems;  // the caller frees them with CoTaskMemFree
} CAUUID;

struct ISpecifyPropertyPages : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetPages(CAUUID* pages) = 0;
};
VIMBREL_INTERFACE_ID(ISpecifyPropertyPages, 0xb196b28b, 0xbab4, 0x101a, 0xb6, 0x9c, 0x00, 0xaa,
                     0x00, 0x34, 0x1d, 0x07);

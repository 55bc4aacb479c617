// The dialog of property pages. Inside the library only.
#pragma once

#include "oaidl.h"
#include "ocidl.h"

// A page is a class of its own, of which this platform has none: REGDB_E_CLASSNOTREG, or E_POINTER
// without objects or pages.
extern "C" HRESULT WINAPI OleCreatePropertyFrame(HWND owner, UINT x, UINT y, LPCOLESTR caption,
                                                 ULONG object_count, IUnknown** objects,
                                                 ULONG page_count, CLSID* pages, LCID locale,
                                                 DWORD reserved, void* reserved_pointer);

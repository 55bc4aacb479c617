// A value with its type, cut to plain ones and texts, bags of such values, and the scripting
// interface that controls of a filter graph derive from. Inside the library only.
#pragma once

#include "propidl.h"

// A text with its length in front; from SysAllocString.
using BSTR = wchar_t*;

struct VARIANT {
    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union {
        LONG lVal;
        ULONG ulVal;
        LONGLONG llVal;
        ULONGLONG ullVal;
        VARIANT_BOOL boolVal;
        double dblVal;
        BSTR bstrVal;
        // The largest member of the published type, for its size.
        struct {
            void* pvRecord;
            void* pRecInfo;
        } record;
    };
};

using LCID = DWORD;
using DISPID = LONG;
using LPOLESTR = wchar_t*;
using LPCOLESTR = const wchar_t*;
struct ITypeInfo;
struct DISPPARAMS;
struct EXCEPINFO;

struct IDispatch : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count,
                                                    LCID locale, DISPID* ids) = 0;
    virtual HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID iid, LCID locale, WORD flags,
                                             DISPPARAMS* parameters, VARIANT* result,
                                             EXCEPINFO* exception, UINT* argument_error) = 0;
};
VIMBREL_INTERFACE_ID(IDispatch, 0x00020400, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00,
                     0x00, 0x46);

struct IErrorLog;

struct IPropertyBag : IUnknown {
    // `value` comes with the wanted type, or VT_EMPTY for any. E_INVALIDARG for a name that the bag
    // does not have.
    virtual HRESULT STDMETHODCALLTYPE Read(LPCOLESTR name, VARIANT* value, IErrorLog* log) = 0;
    virtual HRESULT STDMETHODCALLTYPE Write(LPCOLESTR name, VARIANT* value) = 0;
};
VIMBREL_INTERFACE_ID(IPropertyBag, 0x55272a00, 0x42cb, 0x11ce, 0x81, 0x35, 0x00, 0xaa, 0x00, 0x4b,
                     0xb8, 0x51);

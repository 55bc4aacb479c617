// The settings interface of encoders. Inside the library only.
#pragma once

#include "oaidl.h"
#include "objidl.h"
#include "unknwn.h"

// S_OK, or a failure for a setting or a value that the encoder does not have.
struct ICodecAPI : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE IsSupported(const GUID* api) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsModifiable(const GUID* api) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetParameterRange(const GUID* api, VARIANT* minimum,
                                                        VARIANT* maximum, VARIANT* step) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetParameterValues(const GUID* api, VARIANT** values,
                                                         ULONG* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDefaultValue(const GUID* api, VARIANT* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetValue(const GUID* api, VARIANT* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetValue(const GUID* api, VARIANT* value) = 0;
};
VIMBREL_INTERFACE_ID(ICodecAPI, 0x901db4c7, 0x31ce, 0x41a2, 0x85, 0xdc, 0x8f, 0xa0, 0xbf, 0x41,
                     0xb8, 0xda);

// Sound endpoints, cut to what is called. Inside the library only.
//
// Every object may be used on any thread. Every `**` result receives an added reference on success
// and null on failure; a result pointer that is null gives E_POINTER.
#pragma once

#include "objbase.h"
#include "objidl.h"
#include "propsys.h"

enum EDataFlow : int { eRender = 0, eCapture = 1, eAll = 2 };
enum ERole : int { eConsole = 0, eMultimedia = 1, eCommunications = 2 };

inline constexpr DWORD DEVICE_STATE_ACTIVE = 0x1;

struct IMMDevice : IUnknown {
    // Makes an object that uses the device, such as IAudioClient. `parameters` must be null.
    // E_NOINTERFACE for other classes than those that the device has.
    virtual HRESULT STDMETHODCALLTYPE Activate(REFIID iid, DWORD context, PROPVARIANT* parameters,
                                               void** object) = 0;
    // STGM_READ only.
    virtual HRESULT STDMETHODCALLTYPE OpenPropertyStore(DWORD access, IPropertyStore** store) = 0;
};
VIMBREL_INTERFACE_ID(IMMDevice, 0xd666063f, 0x1587, 0x4e43, 0x81, 0xf1, 0xb9, 0x48, 0xe8, 0x07,
                     0x36, 0x3f);

struct IMMDeviceCollection : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetCount(UINT* count) = 0;
    // E_INVALIDARG for an index that is not below the count.
    virtual HRESULT STDMETHODCALLTYPE Item(UINT index, IMMDevice** device) = 0;
};
VIMBREL_INTERFACE_ID(IMMDeviceCollection, 0x0bd7a1be, 0x7a1a, 0x44db, 0x83, 0x97, 0xcc, 0x53, 0x92,
                     0x38, 0x7b, 0x5e);

struct IMMEndpoint : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetDataFlow(EDataFlow* flow) = 0;
};
VIMBREL_INTERFACE_ID(IMMEndpoint, 0x1be09788, 0x6894, 0x4089, 0x85, 0x86, 0x9a, 0x2a, 0x6c, 0x26,
                     0x5a, 0xc5);

struct IMMDeviceEnumerator : IUnknown {
    // The endpoints as they are now; `states` must be DEVICE_STATE_ACTIVE.
    virtual HRESULT STDMETHODCALLTYPE EnumAudioEndpoints(EDataFlow flow, DWORD states,
                                                         IMMDeviceCollection** devices) = 0;
    // 0x80070490 (ERROR_NOT_FOUND) if there is none.
    virtual HRESULT STDMETHODCALLTYPE GetDefaultAudioEndpoint(EDataFlow flow, ERole role,
                                                              IMMDevice** device) = 0;
};
VIMBREL_INTERFACE_ID(IMMDeviceEnumerator, 0xa95664d2, 0x9614, 0x4f35, 0xa7, 0x46, 0xde, 0x8d, 0xb6,
                     0x36, 0x17, 0xe6);

DEFINE_GUID(CLSID_MMDeviceEnumerator, 0xbcde0395, 0xe52f, 0x467c, 0x8e, 0x3d, 0xc4, 0x57, 0x92,
            0x91, 0x69, 0x2e);

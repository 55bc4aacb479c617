// Control of a filter graph: running, events, positions, windows, and of a renderer: its level. Cut
// to what is called, but for IMediaPosition and IBasicAudio, which filters implement. Inside the
// library only.
#pragma once

#include "oaidl.h"
#include "strmif.h"

using OAFilterState = LONG;
using OAHWND = LONG_PTR;
using OAEVENT = LONG_PTR;
using REFTIME = double;  // seconds

struct IMediaControl : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE Run() = 0;
    virtual HRESULT STDMETHODCALLTYPE Pause() = 0;
    virtual HRESULT STDMETHODCALLTYPE Stop() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetState(LONG milliseconds, OAFilterState* state) = 0;
    virtual HRESULT STDMETHODCALLTYPE StopWhenReady() = 0;
};
VIMBREL_INTERFACE_ID(IMediaControl, 0x56a868b1, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b,
                     0xa7, 0x70);

struct IMediaEvent : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE GetEvent(LONG* code, LONG_PTR* first, LONG_PTR* second,
                                               LONG milliseconds) = 0;
    virtual HRESULT STDMETHODCALLTYPE FreeEventParams(LONG code, LONG_PTR first,
                                                      LONG_PTR second) = 0;
};
VIMBREL_INTERFACE_ID(IMediaEvent, 0x56a868b6, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b,
                     0xa7, 0x70);

struct IMediaEventEx : IMediaEvent {
    virtual HRESULT STDMETHODCALLTYPE SetNotifyWindow(OAHWND window, LONG message,
                                                      LONG_PTR instance) = 0;
};
VIMBREL_INTERFACE_ID(IMediaEventEx, 0x56a868c0, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b,
                     0xa7, 0x70);

struct IMediaPosition : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE get_Duration(REFTIME* length) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_CurrentPosition(REFTIME time) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_CurrentPosition(REFTIME* time) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_StopTime(REFTIME* time) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_StopTime(REFTIME time) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_PrerollTime(REFTIME* time) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_PrerollTime(REFTIME time) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_Rate(double rate) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Rate(double* rate) = 0;
    virtual HRESULT STDMETHODCALLTYPE CanSeekForward(LONG* can) = 0;
    virtual HRESULT STDMETHODCALLTYPE CanSeekBackward(LONG* can) = 0;
};
VIMBREL_INTERFACE_ID(IMediaPosition, 0x56a868b2, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b,
                     0xa7, 0x70);

struct IVideoWindow : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE put_AutoShow(LONG show) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_Visible(LONG visible) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_Owner(OAHWND owner) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_MessageDrain(OAHWND drain) = 0;
};
VIMBREL_INTERFACE_ID(IVideoWindow, 0x56a868b4, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b,
                     0xa7, 0x70);

// Levels in hundredths of a decibel, from -10000 (silence) to 0.
struct IBasicAudio : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE put_Volume(LONG volume) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Volume(LONG* volume) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_Balance(LONG balance) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Balance(LONG* balance) = 0;
};
VIMBREL_INTERFACE_ID(IBasicAudio, 0x56a868b3, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b,
                     0xa7, 0x70);

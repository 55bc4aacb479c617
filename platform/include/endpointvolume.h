// Volume of a sound endpoint, cut to what is called. Inside the library only.
#pragma once

#include "unknwn.h"

struct IAudioEndpointVolume : IUnknown {
    // 0.0 to 1.0, E_INVALIDARG outside of it. `event_context` may be null.
    virtual HRESULT STDMETHODCALLTYPE SetMasterVolumeLevelScalar(FLOAT level,
                                                                 const GUID* event_context) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMasterVolumeLevelScalar(FLOAT* level) = 0;
    // S_FALSE if nothing changes.
    virtual HRESULT STDMETHODCALLTYPE SetMute(BOOL mute, const GUID* event_context) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMute(BOOL* mute) = 0;
};
VIMBREL_INTERFACE_ID(IAudioEndpointVolume, 0x5cdf2c82, 0x841e, 0x4546, 0x97, 0x22, 0x0c, 0xf7, 0x40,
                     0x78, 0x22, 0x9a);

// The system's header, with the names that mingw-w64 lacks.
#pragma once
#pragma GCC system_header

#include_next <mfidl.h>

#ifndef __IMFTranscodeProfile_INTERFACE_DEFINED__
#define __IMFTranscodeProfile_INTERFACE_DEFINED__

DEFINE_GUID(IID_IMFTranscodeProfile, 0x4adfdba3, 0x7ab0, 0x4953, 0xa6, 0x2b, 0x46, 0x1e, 0x7f, 0xf3,
            0xda, 0x1e);
struct IMFTranscodeProfile : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetAudioAttributes(IMFAttributes* attributes) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAudioAttributes(IMFAttributes** attributes) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetVideoAttributes(IMFAttributes* attributes) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVideoAttributes(IMFAttributes** attributes) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetContainerAttributes(IMFAttributes* attributes) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetContainerAttributes(IMFAttributes** attributes) = 0;
};
__CRT_UUID_DECL(IMFTranscodeProfile, 0x4adfdba3, 0x7ab0, 0x4953, 0xa6, 0x2b, 0x46, 0x1e, 0x7f, 0xf3,
                0xda, 0x1e)

// Constants of this file's own, as the system's library of identifiers does not have them.
inline constexpr GUID MF_TOPOLOGY_DXVA_MODE = {
    0x1e8d34f6, 0xf5ab, 0x4e23, {0xbb, 0x88, 0x87, 0x4a, 0xa3, 0xa1, 0xa7, 0x4d}};
inline constexpr GUID MF_TOPOLOGY_HARDWARE_MODE = {
    0xd2d362fd, 0x4e4f, 0x4191, {0xa5, 0x79, 0xc6, 0x18, 0xb6, 0x67, 0x06, 0xaf}};

#endif

// Media sources and the session that transcodes one into a file; cut to what the library calls, but
// for the interfaces that it implements. Inside the library only.
#pragma once

#include "mfobjects.h"

// What a source can do.
enum MFMEDIASOURCE_CHARACTERISTICS : DWORD {
    MFMEDIASOURCE_IS_LIVE = 0x1,
    MFMEDIASOURCE_CAN_SEEK = 0x2,
    MFMEDIASOURCE_CAN_PAUSE = 0x4,
};

using MFTIME = LONGLONG;
using TOPOID = UINT64;

enum MFCLOCK_STATE : DWORD {
    MFCLOCK_STATE_INVALID = 0,
    MFCLOCK_STATE_RUNNING = 1,
    MFCLOCK_STATE_STOPPED = 2,
    MFCLOCK_STATE_PAUSED = 3,
};

// Keys and values of a transcode profile's container attributes, and of a topology.
DEFINE_GUID(MF_TRANSCODE_CONTAINERTYPE, 0x150ff23f, 0x4abc, 0x478b, 0xac, 0x4f, 0xe1, 0x91, 0x6f,
            0xba, 0x1c, 0xca);  // GUID
DEFINE_GUID(MF_TRANSCODE_TOPOLOGYMODE, 0x3e3df610, 0x394a, 0x40b2, 0x9d, 0xea, 0x3b, 0xab, 0x65,
            0x0b, 0xeb, 0xf2);  // below
DEFINE_GUID(MFTranscodeContainerType_MPEG4, 0xdc6cd05d, 0xb9d0, 0x40ef, 0xbd, 0x35, 0xfa, 0x62,
            0x2c, 0x1a, 0xb2, 0x8a);
DEFINE_GUID(MF_TOPOLOGY_DXVA_MODE, 0x1e8d34f6, 0xf5ab, 0x4e23, 0xbb, 0x88, 0x87, 0x4a, 0xa3, 0xa1,
            0xa7, 0x4d);
DEFINE_GUID(MF_TOPOLOGY_HARDWARE_MODE, 0xd2d362fd, 0x4e4f, 0x4191, 0xa5, 0x79, 0xc6, 0x18, 0xb6,
            0x67, 0x06, 0xaf);

enum MF_TRANSCODE_TOPOLOGYMODE_FLAGS : DWORD {
    MF_TRANSCODE_TOPOLOGYMODE_SOFTWARE_ONLY = 0,
    MF_TRANSCODE_TOPOLOGYMODE_HARDWARE_ALLOWED = 1,
};

// Without a meaning here: the profile decides.
enum MFTOPOLOGY_DXVA_MODE : DWORD {
    MFTOPOLOGY_DXVA_DEFAULT = 0,
    MFTOPOLOGY_DXVA_NONE = 1,
    MFTOPOLOGY_DXVA_FULL = 2,
};

enum MFTOPOLOGY_HARDWARE_MODE : DWORD {
    MFTOPOLOGY_HWMODE_SOFTWARE_ONLY = 0,
    MFTOPOLOGY_HWMODE_USE_HARDWARE = 1,
};

struct IMFMediaTypeHandler : IUnknown {
    // `closest`, which may be null, becomes null.
    virtual HRESULT STDMETHODCALLTYPE IsMediaTypeSupported(IMFMediaType* type,
                                                           IMFMediaType** closest) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMediaTypeCount(DWORD* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMediaTypeByIndex(DWORD index, IMFMediaType** type) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetCurrentMediaType(IMFMediaType* type) = 0;
    // MF_E_NOT_INITIALIZED before one was set.
    virtual HRESULT STDMETHODCALLTYPE GetCurrentMediaType(IMFMediaType** type) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMajorType(GUID* type) = 0;
};
VIMBREL_INTERFACE_ID(IMFMediaTypeHandler, 0xe93dcf6c, 0x4b07, 0x4e1e, 0x81, 0x23, 0xaa, 0x16, 0xed,
                     0x6e, 0xad, 0xf5);

struct IMFStreamDescriptor : IMFAttributes {
    virtual HRESULT STDMETHODCALLTYPE GetStreamIdentifier(DWORD* identifier) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMediaTypeHandler(IMFMediaTypeHandler** handler) = 0;
};
VIMBREL_INTERFACE_ID(IMFStreamDescriptor, 0x56c03d9c, 0x9dbb, 0x45f5, 0xab, 0x4b, 0xd8, 0x0f, 0x47,
                     0xc0, 0x59, 0x38);

// Which streams there are, and which of them are wanted.
struct IMFPresentationDescriptor : IMFAttributes {
    virtual HRESULT STDMETHODCALLTYPE GetStreamDescriptorCount(DWORD* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE
    GetStreamDescriptorByIndex(DWORD index, BOOL* selected, IMFStreamDescriptor** descriptor) = 0;
    virtual HRESULT STDMETHODCALLTYPE SelectStream(DWORD index) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeselectStream(DWORD index) = 0;
    // The copy has the same stream descriptors and a selection of its own.
    virtual HRESULT STDMETHODCALLTYPE Clone(IMFPresentationDescriptor** copy) = 0;
};
VIMBREL_INTERFACE_ID(IMFPresentationDescriptor, 0x03cb2711, 0x24d7, 0x4db6, 0xa1, 0x7f, 0xf3, 0xa7,
                     0xa4, 0x79, 0xa5, 0x36);

struct IMFMediaSource : IMFMediaEventGenerator {
    virtual HRESULT STDMETHODCALLTYPE GetCharacteristics(DWORD* characteristics) = 0;
    virtual HRESULT STDMETHODCALLTYPE
    CreatePresentationDescriptor(IMFPresentationDescriptor** descriptor) = 0;
    // Null or GUID_NULL as the format means units of 100 ns; VT_EMPTY as the position, where it
    // stands.
    virtual HRESULT STDMETHODCALLTYPE Start(IMFPresentationDescriptor* descriptor,
                                            const GUID* time_format,
                                            const PROPVARIANT* position) = 0;
    virtual HRESULT STDMETHODCALLTYPE Stop() = 0;
    virtual HRESULT STDMETHODCALLTYPE Pause() = 0;
    virtual HRESULT STDMETHODCALLTYPE Shutdown() = 0;
};
VIMBREL_INTERFACE_ID(IMFMediaSource, 0x279a808d, 0xaec7, 0x40c8, 0x9c, 0x6b, 0xa6, 0xb4, 0x92, 0xc7,
                     0x8a, 0x66);

struct IMFMediaStream : IMFMediaEventGenerator {
    virtual HRESULT STDMETHODCALLTYPE GetMediaSource(IMFMediaSource** source) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetStreamDescriptor(IMFStreamDescriptor** descriptor) = 0;
    virtual HRESULT STDMETHODCALLTYPE RequestSample(IUnknown* token) = 0;
};
VIMBREL_INTERFACE_ID(IMFMediaStream, 0xd182108f, 0x4ec6, 0x443f, 0xaa, 0x42, 0xa7, 0x11, 0x06, 0xec,
                     0x82, 0x5f);

// What to transcode into. Attributes are copied when they are set; null takes them away. A getter
// gives the copy, or null with S_OK if there is none.
struct IMFTranscodeProfile : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetAudioAttributes(IMFAttributes* attributes) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAudioAttributes(IMFAttributes** attributes) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetVideoAttributes(IMFAttributes* attributes) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVideoAttributes(IMFAttributes** attributes) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetContainerAttributes(IMFAttributes* attributes) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetContainerAttributes(IMFAttributes** attributes) = 0;
};
VIMBREL_INTERFACE_ID(IMFTranscodeProfile, 0x4adfdba3, 0x7ab0, 0x4953, 0xa6, 0x2b, 0x46, 0x1e, 0x7f,
                     0xf3, 0xda, 0x1e);

struct IMFTopology : IMFAttributes {
    virtual HRESULT STDMETHODCALLTYPE GetTopologyID(TOPOID* id) = 0;
};
VIMBREL_INTERFACE_ID(IMFTopology, 0x83cf873a, 0xf6da, 0x4bc8, 0x82, 0x3f, 0xba, 0xcf, 0xd5, 0x5d,
                     0xc4, 0x33);

struct IMFClock : IUnknown {
    // `reserved` must be 0.
    virtual HRESULT STDMETHODCALLTYPE GetState(DWORD reserved, MFCLOCK_STATE* state) = 0;
};
VIMBREL_INTERFACE_ID(IMFClock, 0x2eb1e945, 0x18b8, 0x4139, 0x9b, 0x1a, 0xd5, 0xd5, 0x84, 0x81, 0x85,
                     0x30);

struct IMFPresentationClock : IMFClock {
    // Units of 100 ns; 0 before the start, and what it was at the end after it.
    virtual HRESULT STDMETHODCALLTYPE GetTime(MFTIME* time) = 0;
};
VIMBREL_INTERFACE_ID(IMFPresentationClock, 0x868ce85c, 0x8ea9, 0x4f55, 0xab, 0x82, 0xb0, 0x09, 0xa9,
                     0x10, 0xa8, 0x05);

// Runs a topology. Start and Close return at once and report through events; they fail at once only
// in the wrong state.
struct IMFMediaSession : IMFMediaEventGenerator {
    // `flags` must be 0. Once, and before Start: else MF_E_INVALIDREQUEST. The file of the topology
    // goes over to the session.
    virtual HRESULT STDMETHODCALLTYPE SetTopology(DWORD flags, IMFTopology* topology) = 0;
    // `time_format` must be GUID_NULL or null, and `position` VT_EMPTY. Again after the first:
    // nothing, with S_OK.
    virtual HRESULT STDMETHODCALLTYPE Start(const GUID* time_format,
                                            const PROPVARIANT* position) = 0;
    // Ends the file, whatever is missing of it. MESessionClosed is the last event.
    virtual HRESULT STDMETHODCALLTYPE Close() = 0;
    // Ends the file if it has not been ended, waits for the session's own thread, and calls no
    // source. Every later call gives MF_E_SHUTDOWN, but for a second Shutdown.
    virtual HRESULT STDMETHODCALLTYPE Shutdown() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetClock(IMFClock** clock) = 0;
};
VIMBREL_INTERFACE_ID(IMFMediaSession, 0x90377834, 0x21d0, 0x4dee, 0x82, 0x14, 0xba, 0x2e, 0x3e,
                     0x6c, 0x11, 0x27);

extern "C" {

HRESULT WINAPI MFCreateStreamDescriptor(DWORD identifier, DWORD type_count, IMFMediaType** types,
                                        IMFStreamDescriptor** descriptor);
// Every stream is deselected at first. `count` may be 0.
HRESULT WINAPI MFCreatePresentationDescriptor(DWORD count, IMFStreamDescriptor** streams,
                                              IMFPresentationDescriptor** descriptor);

HRESULT WINAPI MFCreateTranscodeProfile(IMFTranscodeProfile** profile);
// Opens the encoders and makes the file. Streams of the source that are not selected, or that the
// profile has no attributes for, are left out. An older file of that name stays if it fails before
// the file is opened, and that is the last step.
HRESULT WINAPI MFCreateTranscodeTopology(IMFMediaSource* source, LPCWSTR path,
                                         IMFTranscodeProfile* profile, IMFTopology** topology);
// `configuration` must be null.
HRESULT WINAPI MFCreateMediaSession(IMFAttributes* configuration, IMFMediaSession** session);

}  // extern "C"

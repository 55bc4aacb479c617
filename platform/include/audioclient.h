// Streams of sound endpoints in shared mode, cut to what is called. Inside the library only.
//
// Operations of one stream may run on several threads, but no packet is taken on two at once.
// Times are in units of 100 ns.
#pragma once

#include "mmreg.h"
#include "unknwn.h"

using REFERENCE_TIME = LONGLONG;

enum AUDCLNT_SHAREMODE : int { AUDCLNT_SHAREMODE_SHARED = 0, AUDCLNT_SHAREMODE_EXCLUSIVE = 1 };

inline constexpr DWORD AUDCLNT_STREAMFLAGS_LOOPBACK = 0x00020000;
inline constexpr DWORD AUDCLNT_STREAMFLAGS_EVENTCALLBACK = 0x00040000;
inline constexpr DWORD AUDCLNT_BUFFERFLAGS_SILENT = 0x2;

inline constexpr HRESULT AUDCLNT_E_NOT_INITIALIZED = VimbrelResult(0x88890001u);
inline constexpr HRESULT AUDCLNT_E_ALREADY_INITIALIZED = VimbrelResult(0x88890002u);
inline constexpr HRESULT AUDCLNT_E_WRONG_ENDPOINT_TYPE = VimbrelResult(0x88890003u);
inline constexpr HRESULT AUDCLNT_E_DEVICE_INVALIDATED = VimbrelResult(0x88890004u);
inline constexpr HRESULT AUDCLNT_E_NOT_STOPPED = VimbrelResult(0x88890005u);
inline constexpr HRESULT AUDCLNT_E_OUT_OF_ORDER = VimbrelResult(0x88890007u);
inline constexpr HRESULT AUDCLNT_E_UNSUPPORTED_FORMAT = VimbrelResult(0x88890008u);
inline constexpr HRESULT AUDCLNT_E_INVALID_SIZE = VimbrelResult(0x88890009u);
inline constexpr HRESULT AUDCLNT_E_ENDPOINT_CREATE_FAILED = VimbrelResult(0x8889000Fu);
inline constexpr HRESULT AUDCLNT_E_SERVICE_NOT_RUNNING = VimbrelResult(0x88890010u);
inline constexpr HRESULT AUDCLNT_E_EVENTHANDLE_NOT_EXPECTED = VimbrelResult(0x88890011u);
inline constexpr HRESULT AUDCLNT_S_BUFFER_EMPTY = VimbrelResult(0x08890001u);

struct IAudioClient : IUnknown {
    // Once. Durations of 0 mean the system's own; `session` may be null.
    virtual HRESULT STDMETHODCALLTYPE Initialize(AUDCLNT_SHAREMODE mode, DWORD flags,
                                                 REFERENCE_TIME buffer_duration,
                                                 REFERENCE_TIME periodicity,
                                                 const WAVEFORMATEX* format,
                                                 const GUID* session) = 0;
    // In frames.
    virtual HRESULT STDMETHODCALLTYPE GetBufferSize(UINT32* frames) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCurrentPadding(UINT32* frames) = 0;
    // The caller frees *format with CoTaskMemFree.
    virtual HRESULT STDMETHODCALLTYPE GetMixFormat(WAVEFORMATEX** format) = 0;
    // Either pointer may be null, but not both.
    virtual HRESULT STDMETHODCALLTYPE GetDevicePeriod(REFERENCE_TIME* default_period,
                                                      REFERENCE_TIME* minimum_period) = 0;
    virtual HRESULT STDMETHODCALLTYPE Start() = 0;
    // S_FALSE if the stream does not run. Drops the packets that wait.
    virtual HRESULT STDMETHODCALLTYPE Stop() = 0;
    virtual HRESULT STDMETHODCALLTYPE SetEventHandle(HANDLE event) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetService(REFIID iid, void** service) = 0;
};
VIMBREL_INTERFACE_ID(IAudioClient, 0x1cb9ad4c, 0xdbfa, 0x4c32, 0xb1, 0x78, 0xc2, 0xf5, 0x68, 0xa7,
                     0x03, 0xb2);

struct IAudioCaptureClient : IUnknown {
    // AUDCLNT_S_BUFFER_EMPTY and 0 frames if no packet waits. The data stay valid until
    // ReleaseBuffer. Any of the last three may be null.
    virtual HRESULT STDMETHODCALLTYPE GetBuffer(BYTE** data, UINT32* frames, DWORD* flags,
                                                UINT64* device_position, UINT64* qpc_position) = 0;
    // All of the packet's frames, or 0 to get the same packet again.
    virtual HRESULT STDMETHODCALLTYPE ReleaseBuffer(UINT32 frames) = 0;
    // 0 if no packet waits.
    virtual HRESULT STDMETHODCALLTYPE GetNextPacketSize(UINT32* frames) = 0;
};
VIMBREL_INTERFACE_ID(IAudioCaptureClient, 0xc8adbd64, 0xe71e, 0x48a0, 0xa4, 0xde, 0x18, 0x5c, 0x39,
                     0x5c, 0xd3, 0x17);

struct IAudioRenderClient : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetBuffer(UINT32 frames, BYTE** data) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReleaseBuffer(UINT32 frames, DWORD flags) = 0;
};
VIMBREL_INTERFACE_ID(IAudioRenderClient, 0xf294acfc, 0x3146, 0x4483, 0xa7, 0xbf, 0xad, 0xdc, 0xa7,
                     0xc2, 0x60, 0xe2);

// Start-up of the media pipeline, its work queue, and the functions that make its objects. Inside
// the library only.
#pragma once

#include "mferror.h"
#include "mfobjects.h"
#include "mmreg.h"
#include "wingdi.h"

inline constexpr ULONG MF_SDK_VERSION = 2;
inline constexpr ULONG MF_API_VERSION = 0x70;
inline constexpr ULONG MF_VERSION = MF_SDK_VERSION << 16 | MF_API_VERSION;
inline constexpr DWORD MFSTARTUP_FULL = 0;
inline constexpr DWORD MFSTARTUP_NOSOCKET = 1;
inline constexpr DWORD MFSTARTUP_LITE = MFSTARTUP_NOSOCKET;

// Keys of media types.
DEFINE_GUID(MF_MT_MAJOR_TYPE, 0x48eba18e, 0xf8c9, 0x4687, 0xbf, 0x11, 0x0a, 0x74, 0xc9, 0xf9, 0x6a,
            0x8f);  // GUID
DEFINE_GUID(MF_MT_SUBTYPE, 0xf7e34c9a, 0x42e8, 0x4714, 0xb7, 0x4b, 0xcb, 0x29, 0xd7, 0x2c, 0x35,
            0xe5);  // GUID
DEFINE_GUID(MF_MT_ALL_SAMPLES_INDEPENDENT, 0xc9173739, 0x5e56, 0x461c, 0xb7, 0x13, 0x46, 0xfb, 0x99,
            0x5c, 0xb9, 0x5f);
DEFINE_GUID(MF_MT_FIXED_SIZE_SAMPLES, 0xb8ebefaf, 0xb718, 0x4e04, 0xb0, 0xa9, 0x11, 0x67, 0x75,
            0xe3, 0x32, 0x1b);
DEFINE_GUID(MF_MT_SAMPLE_SIZE, 0xdad3ab78, 0x1990, 0x408b, 0xbc, 0xe2, 0xeb, 0xa6, 0x73, 0xda, 0xcc,
            0x10);
DEFINE_GUID(MF_MT_AUDIO_NUM_CHANNELS, 0x37e48bf5, 0x645e, 0x4c5b, 0x89, 0xde, 0xad, 0xa9, 0xe2,
            0x9b, 0x69, 0x6a);
DEFINE_GUID(MF_MT_AUDIO_SAMPLES_PER_SECOND, 0x5faeeae7, 0x0290, 0x4c31, 0x9e, 0x8a, 0xc5, 0x34,
            0xf6, 0x8d, 0x9d, 0xba);
DEFINE_GUID(MF_MT_AUDIO_AVG_BYTES_PER_SECOND, 0x1aab75c8, 0xcfef, 0x451c, 0xab, 0x95, 0xac, 0x03,
            0x4b, 0x8e, 0x17, 0x31);
DEFINE_GUID(MF_MT_AUDIO_BLOCK_ALIGNMENT, 0x322de230, 0x9eeb, 0x43bd, 0xab, 0x7a, 0xff, 0x41, 0x22,
            0x51, 0x54, 0x1d);
DEFINE_GUID(MF_MT_AUDIO_BITS_PER_SAMPLE, 0xf2deb57f, 0x40fa, 0x4764, 0xaa, 0x33, 0xed, 0x4f, 0x2d,
            0x1f, 0xf6, 0x69);
DEFINE_GUID(MF_MT_AUDIO_VALID_BITS_PER_SAMPLE, 0xd9bf8d6a, 0x9530, 0x4b7c, 0x9d, 0xdf, 0xff, 0x6f,
            0xd5, 0x8b, 0xbd, 0x06);
DEFINE_GUID(MF_MT_AUDIO_CHANNEL_MASK, 0x55fb5765, 0x644a, 0x4caf, 0x84, 0x79, 0x93, 0x89, 0x83,
            0xbb, 0x15, 0x88);
DEFINE_GUID(MF_MT_AUDIO_PREFER_WAVEFORMATEX, 0xa901aaba, 0xe037, 0x458a, 0xbd, 0xf6, 0x54, 0x5b,
            0xe2, 0x07, 0x40, 0x42);
DEFINE_GUID(MF_MT_AAC_AUDIO_PROFILE_LEVEL_INDICATION, 0x7632f0e6, 0x9538, 0x4d61, 0xac, 0xda, 0xea,
            0x29, 0xc8, 0xc1, 0x44, 0x56);
DEFINE_GUID(MF_MT_FRAME_SIZE, 0x1652c33d, 0xd6b2, 0x4012, 0xb8, 0x34, 0x72, 0x03, 0x08, 0x49, 0xa3,
            0x7d);
DEFINE_GUID(MF_MT_FRAME_RATE, 0xc459a2e8, 0x3d2c, 0x4e44, 0xb1, 0x32, 0xfe, 0xe5, 0x15, 0x6c, 0x7b,
            0xb0);
DEFINE_GUID(MF_MT_PIXEL_ASPECT_RATIO, 0xc6376a1e, 0x8d0a, 0x4027, 0xbe, 0x45, 0x6d, 0x9a, 0x0a,
            0xd3, 0x9b, 0xb6);
DEFINE_GUID(MF_MT_INTERLACE_MODE, 0xe2724bb8, 0xe676, 0x4806, 0xb4, 0xb2, 0xa8, 0xd6, 0xef, 0xb4,
            0x4c, 0xcd);
DEFINE_GUID(MF_MT_AVG_BITRATE, 0x20332624, 0xfb0d, 0x4d9e, 0xbd, 0x0d, 0xcb, 0xf6, 0x78, 0x6c, 0x10,
            0x2e);
DEFINE_GUID(MF_MT_USER_DATA, 0xb6bc765f, 0x4c3b, 0x40a4, 0xbd, 0x51, 0x25, 0x35, 0xb6, 0x6f, 0xe0,
            0x9d);
// Bytes from a row to the next, negative for rows that go bottom up.
DEFINE_GUID(MF_MT_DEFAULT_STRIDE, 0x644b4e48, 0x1e02, 0x4516, 0xb0, 0xeb, 0xc0, 0x1c, 0xa9, 0xd4,
            0x9a, 0xc6);
DEFINE_GUID(MF_MT_MPEG2_PROFILE, 0xad76a80b, 0x2d5c, 0x4e0b, 0xb3, 0x75, 0x64, 0xe5, 0x20, 0x13,
            0x70, 0x36);
DEFINE_GUID(MF_MT_MPEG2_LEVEL, 0x96f66574, 0x11c5, 0x4015, 0x86, 0x66, 0xbf, 0xf5, 0x16, 0x43, 0x6d,
            0xa7);
DEFINE_GUID(MF_MT_MAX_KEYFRAME_SPACING, 0xc16eb52b, 0x73a1, 0x476f, 0x8d, 0x62, 0x83, 0x9d, 0x6a,
            0x02, 0x06, 0x52);
DEFINE_GUID(MF_MT_ORIGINAL_4CC, 0xd7be3fe0, 0x2bc7, 0x492d, 0xb8, 0x43, 0x61, 0xa1, 0x91, 0x9b,
            0x70, 0xc3);
// Blob: SPS and PPS, each after a start code of 4 bytes.
DEFINE_GUID(MF_MT_MPEG_SEQUENCE_HEADER, 0x3c036de7, 0x3ad0, 0x4c9e, 0x92, 0x16, 0xee, 0x6d, 0x6a,
            0xc2, 0x1c, 0xb3);

// Of samples. UINT32: not 0 for a key frame; UINT64: when to decode, in units of 100 ns.
DEFINE_GUID(MFSampleExtension_CleanPoint, 0x9cdf01d8, 0xa0f0, 0x43ba, 0xb0, 0x77, 0xea, 0xa0, 0x6c,
            0xbd, 0x72, 0x8a);
DEFINE_GUID(MFSampleExtension_DecodeTimestamp, 0x73a954d4, 0x09e2, 0x4861, 0xbe, 0xfc, 0x94, 0xbd,
            0x97, 0xc0, 0x8e, 0x6e);

DEFINE_GUID(MFT_CATEGORY_VIDEO_ENCODER, 0xf79eac7d, 0xe545, 0x4387, 0xbd, 0xee, 0xd6, 0x47, 0xd7,
            0xbd, 0xe4, 0x2a);

enum : DWORD {
    MFT_ENUM_FLAG_SYNCMFT = 0x1,
    MFT_ENUM_FLAG_ASYNCMFT = 0x2,
    MFT_ENUM_FLAG_HARDWARE = 0x4,
    MFT_ENUM_FLAG_LOCALMFT = 0x10,
    MFT_ENUM_FLAG_TRANSCODE_ONLY = 0x20,
    MFT_ENUM_FLAG_SORTANDFILTER = 0x40,
};

DEFINE_GUID(MFMediaType_Audio, 0x73647561, 0x0000, 0x0010, 0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b,
            0x71);
DEFINE_GUID(MFMediaType_Video, 0x73646976, 0x0000, 0x0010, 0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b,
            0x71);

#define DEFINE_MEDIATYPE_GUID(name, format) \
    DEFINE_GUID(name, format, 0x0000, 0x0010, 0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71)

DEFINE_MEDIATYPE_GUID(MFVideoFormat_RGB32, 22);   // bytes blue, green, red, unused
DEFINE_MEDIATYPE_GUID(MFVideoFormat_ARGB32, 21);  // bytes blue, green, red, alpha
DEFINE_MEDIATYPE_GUID(MFVideoFormat_RGB24, 20);
DEFINE_MEDIATYPE_GUID(MFVideoFormat_RGB555, 24);
DEFINE_MEDIATYPE_GUID(MFVideoFormat_NV12, 0x3231564E);
DEFINE_MEDIATYPE_GUID(MFVideoFormat_H264, 0x34363248);
DEFINE_MEDIATYPE_GUID(MFAudioFormat_PCM, WAVE_FORMAT_PCM);
DEFINE_MEDIATYPE_GUID(MFAudioFormat_Float, WAVE_FORMAT_IEEE_FLOAT);
DEFINE_MEDIATYPE_GUID(MFAudioFormat_AAC, 0x1610);

extern "C" {

// In pairs. MF_E_BAD_STARTUP_VERSION unless `version` is MF_VERSION.
HRESULT WINAPI MFStartup(ULONG version, DWORD flags);
// The last one of the process lets the work items that wait come to their end, and the threads of
// the work queue with them; from its beginning nothing is put on the queue. From within a work item
// it cannot wait for what it belongs to: it returns at once, and items and threads end on their
// own. E_FAIL without a MFStartup before.
HRESULT WINAPI MFShutdown();

// `queue` must be MFASYNC_CALLBACK_QUEUE_STANDARD, else MF_E_INVALID_WORKQUEUE. MF_E_SHUTDOWN
// outside MFStartup and MFShutdown. Items begin in the order in which they were put, and run side
// by side: one that blocks holds up no other until all threads of the queue are blocked.
HRESULT WINAPI MFPutWorkItem(DWORD queue, IMFAsyncCallback* callback, IUnknown* state);

HRESULT WINAPI MFCreateAttributes(IMFAttributes** attributes, UINT32 initial_size);
// The memory is not cleared. E_OUTOFMEMORY.
HRESULT WINAPI MFCreateMemoryBuffer(DWORD max_length, IMFMediaBuffer** buffer);
// The memory begins at a multiple of `alignment` + 1, which is a power of two.
HRESULT WINAPI MFCreateAlignedMemoryBuffer(DWORD max_length, DWORD alignment,
                                           IMFMediaBuffer** buffer);
HRESULT WINAPI MFCreateSample(IMFSample** sample);
HRESULT WINAPI MFCreateEventQueue(IMFMediaEventQueue** queue);
HRESULT WINAPI MFCreateMediaType(IMFMediaType** type);
// PCM, float, or any other format by its tag.
HRESULT WINAPI MFCreateAudioMediaType(const WAVEFORMATEX* format, IMFAudioMediaType** type);
// 16, 24 or 32 bits a pixel, not compressed; others give MF_E_INVALIDMEDIATYPE. `size` is that of
// the header with what follows it. `flags` must be 0.
HRESULT WINAPI MFCreateVideoMediaTypeFromBitMapInfoHeaderEx(
    const BITMAPINFOHEADER* header, UINT32 size, DWORD pixel_aspect_x, DWORD pixel_aspect_y,
    MFVideoInterlaceMode interlace, QWORD flags, DWORD fps_numerator, DWORD fps_denominator,
    DWORD max_bit_rate, IMFVideoMediaType** type);

// Copies rows; a negative stride with a pointer to the last row in memory turns them.
HRESULT WINAPI MFCopyImage(BYTE* destination, LONG destination_stride, const BYTE* source,
                           LONG source_stride, DWORD width_in_bytes, DWORD rows);
// Bytes of a picture without gaps between rows. MF_E_INVALIDMEDIATYPE for formats without a fixed
// size.
HRESULT WINAPI MFCalculateImageSize(REFGUID subtype, UINT32 width, UINT32 height, UINT32* size);
// In units of 100 ns.
HRESULT WINAPI MFFrameRateToAverageTimePerFrame(UINT32 numerator, UINT32 denominator,
                                                UINT64* average);

// The encoders of this system, best first. `flags` are MFT_ENUM_FLAG values, types may be null for
// any. The list is freed with CoTaskMemFree after each of its members was released.
HRESULT WINAPI MFTEnumEx(GUID category, UINT32 flags, const MFT_REGISTER_TYPE_INFO* input,
                         const MFT_REGISTER_TYPE_INFO* output, IMFActivate*** activates,
                         UINT32* count);

}  // extern "C"

// Two 32-bit values in one of 64: sizes (width first) and ratios (numerator first).
inline HRESULT MFSetAttributeSize(IMFAttributes* attributes, REFGUID key, UINT32 width,
                                  UINT32 height) {
    return attributes->SetUINT64(key, UINT64{width} << 32 | height);
}

inline HRESULT MFGetAttributeSize(IMFAttributes* attributes, REFGUID key, UINT32* width,
                                  UINT32* height) {
    UINT64 both = 0;
    const HRESULT hr = attributes->GetUINT64(key, &both);
    if (FAILED(hr)) return hr;
    *width = static_cast<UINT32>(both >> 32);
    *height = static_cast<UINT32>(both);
    return hr;
}

inline HRESULT MFSetAttributeRatio(IMFAttributes* attributes, REFGUID key, UINT32 numerator,
                                   UINT32 denominator) {
    return MFSetAttributeSize(attributes, key, numerator, denominator);
}

inline HRESULT MFGetAttributeRatio(IMFAttributes* attributes, REFGUID key, UINT32* numerator,
                                   UINT32* denominator) {
    return MFGetAttributeSize(attributes, key, numerator, denominator);
}

inline UINT32 MFGetAttributeUINT32(IMFAttributes* attributes, REFGUID key, UINT32 otherwise) {
    UINT32 value = 0;
    return SUCCEEDED(attributes->GetUINT32(key, &value)) ? value : otherwise;
}

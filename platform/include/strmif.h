// Filters, pins, samples, allocators, clocks and graphs, lists of devices and their formats, and
// the settings interface of encoders. Interfaces that filters implement are whole and in the
// published order; those that only the graph implements are cut to what is called. Inside the
// library only.
#pragma once

#include "oaidl.h"
#include "objidl.h"
#include "unknwn.h"
#include "vfwmsgs.h"

// In units of 100 nanoseconds.
using REFERENCE_TIME = LONGLONG;
using HSEMAPHORE = DWORD_PTR;
using HEVENT = DWORD_PTR;

typedef struct _AMMediaType {
    GUID majortype;
    GUID subtype;
    BOOL bFixedSizeSamples;
    BOOL bTemporalCompression;
    ULONG lSampleSize;
    GUID formattype;
    IUnknown* pUnk;
    ULONG cbFormat;
    BYTE* pbFormat;
} AM_MEDIA_TYPE;

typedef enum _PinDirection { PINDIR_INPUT = 0, PINDIR_OUTPUT = 1 } PIN_DIRECTION;
typedef enum _FilterState { State_Stopped = 0, State_Paused = 1, State_Running = 2 } FILTER_STATE;

typedef struct _AllocatorProperties {
    LONG cBuffers;
    LONG cbBuffer;
    LONG cbAlign;
    LONG cbPrefix;
} ALLOCATOR_PROPERTIES;

inline constexpr DWORD AM_GBF_NOWAIT = 4;

struct IBaseFilter;
struct IFilterGraph;
struct IEnumMediaTypes;
struct IEnumFilters;

typedef struct _PinInfo {
    IBaseFilter* pFilter;
    PIN_DIRECTION dir;
    WCHAR achName[128];
} PIN_INFO;

typedef struct _FilterInfo {
    WCHAR achName[128];
    IFilterGraph* pGraph;
} FILTER_INFO;

struct IPin : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Connect(IPin* receiver, const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReceiveConnection(IPin* connector,
                                                        const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE Disconnect() = 0;
    virtual HRESULT STDMETHODCALLTYPE ConnectedTo(IPin** pin) = 0;
    virtual HRESULT STDMETHODCALLTYPE ConnectionMediaType(AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryPinInfo(PIN_INFO* info) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryDirection(PIN_DIRECTION* direction) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryId(LPWSTR* id) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryAccept(const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE EnumMediaTypes(IEnumMediaTypes** enumerator) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryInternalConnections(IPin** pins, ULONG* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE EndOfStream() = 0;
    virtual HRESULT STDMETHODCALLTYPE BeginFlush() = 0;
    virtual HRESULT STDMETHODCALLTYPE EndFlush() = 0;
    virtual HRESULT STDMETHODCALLTYPE NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop,
                                                 double rate) = 0;
};
VIMBREL_INTERFACE_ID(IPin, 0x56a86891, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b, 0xa7,
                     0x70);

struct IEnumPins : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Next(ULONG count, IPin** items, ULONG* fetched) = 0;
    virtual HRESULT STDMETHODCALLTYPE Skip(ULONG count) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IEnumPins** enumerator) = 0;
};
VIMBREL_INTERFACE_ID(IEnumPins, 0x56a86892, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b,
                     0xa7, 0x70);

struct IEnumMediaTypes : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Next(ULONG count, AM_MEDIA_TYPE** items, ULONG* fetched) = 0;
    virtual HRESULT STDMETHODCALLTYPE Skip(ULONG count) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IEnumMediaTypes** enumerator) = 0;
};
VIMBREL_INTERFACE_ID(IEnumMediaTypes, 0x89c31040, 0x846b, 0x11ce, 0x97, 0xd3, 0x00, 0xaa, 0x00,
                     0x55, 0x59, 0x5a);

struct IEnumFilters : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Next(ULONG count, IBaseFilter** items, ULONG* fetched) = 0;
    virtual HRESULT STDMETHODCALLTYPE Skip(ULONG count) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IEnumFilters** enumerator) = 0;
};
VIMBREL_INTERFACE_ID(IEnumFilters, 0x56a86893, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b,
                     0xa7, 0x70);

struct IReferenceClock : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetTime(REFERENCE_TIME* time) = 0;
    virtual HRESULT STDMETHODCALLTYPE AdviseTime(REFERENCE_TIME base, REFERENCE_TIME stream,
                                                 HEVENT event, DWORD_PTR* cookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE AdvisePeriodic(REFERENCE_TIME start, REFERENCE_TIME period,
                                                     HSEMAPHORE semaphore, DWORD_PTR* cookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unadvise(DWORD_PTR cookie) = 0;
};
VIMBREL_INTERFACE_ID(IReferenceClock, 0x56a86897, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf,
                     0x0b, 0xa7, 0x70);

struct IMediaFilter : IPersist {
    virtual HRESULT STDMETHODCALLTYPE Stop() = 0;
    virtual HRESULT STDMETHODCALLTYPE Pause() = 0;
    virtual HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME start) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetState(DWORD milliseconds, FILTER_STATE* state) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSyncSource(IReferenceClock* clock) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSyncSource(IReferenceClock** clock) = 0;
};
VIMBREL_INTERFACE_ID(IMediaFilter, 0x56a86899, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b,
                     0xa7, 0x70);

struct IBaseFilter : IMediaFilter {
    virtual HRESULT STDMETHODCALLTYPE EnumPins(IEnumPins** enumerator) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPin(LPCWSTR id, IPin** pin) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryFilterInfo(FILTER_INFO* info) = 0;
    virtual HRESULT STDMETHODCALLTYPE JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryVendorInfo(LPWSTR* info) = 0;
};
VIMBREL_INTERFACE_ID(IBaseFilter, 0x56a86895, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b,
                     0xa7, 0x70);

struct IMediaSample : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetPointer(BYTE** buffer) = 0;
    virtual LONG STDMETHODCALLTYPE GetSize() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsSyncPoint() = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSyncPoint(BOOL value) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsPreroll() = 0;
    virtual HRESULT STDMETHODCALLTYPE SetPreroll(BOOL value) = 0;
    virtual LONG STDMETHODCALLTYPE GetActualDataLength() = 0;
    virtual HRESULT STDMETHODCALLTYPE SetActualDataLength(LONG length) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMediaType(AM_MEDIA_TYPE** type) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetMediaType(AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsDiscontinuity() = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDiscontinuity(BOOL value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMediaTime(LONGLONG* start, LONGLONG* end) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetMediaTime(LONGLONG* start, LONGLONG* end) = 0;
};
VIMBREL_INTERFACE_ID(IMediaSample, 0x56a8689a, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b,
                     0xa7, 0x70);

struct IMemAllocator : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetProperties(ALLOCATOR_PROPERTIES* request,
                                                    ALLOCATOR_PROPERTIES* actual) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetProperties(ALLOCATOR_PROPERTIES* properties) = 0;
    virtual HRESULT STDMETHODCALLTYPE Commit() = 0;
    virtual HRESULT STDMETHODCALLTYPE Decommit() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetBuffer(IMediaSample** sample, REFERENCE_TIME* start,
                                                REFERENCE_TIME* end, DWORD flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReleaseBuffer(IMediaSample* sample) = 0;
};
VIMBREL_INTERFACE_ID(IMemAllocator, 0x56a8689c, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b,
                     0xa7, 0x70);

struct IMemInputPin : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetAllocator(IMemAllocator** allocator) = 0;
    virtual HRESULT STDMETHODCALLTYPE NotifyAllocator(IMemAllocator* allocator, BOOL read_only) = 0;
    virtual HRESULT STDMETHODCALLTYPE
    GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) = 0;
    virtual HRESULT STDMETHODCALLTYPE Receive(IMediaSample* sample) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReceiveMultiple(IMediaSample** samples, LONG count,
                                                      LONG* processed) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReceiveCanBlock() = 0;
};
VIMBREL_INTERFACE_ID(IMemInputPin, 0x56a8689d, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b,
                     0xa7, 0x70);

inline constexpr DWORD AM_SEEKING_NoPositioning = 0x0;
inline constexpr DWORD AM_SEEKING_AbsolutePositioning = 0x1;
inline constexpr DWORD AM_SEEKING_RelativePositioning = 0x2;
inline constexpr DWORD AM_SEEKING_IncrementalPositioning = 0x3;
inline constexpr DWORD AM_SEEKING_PositioningBitsMask = 0x3;
inline constexpr DWORD AM_SEEKING_ReturnTime = 0x8;

inline constexpr DWORD AM_SEEKING_CanSeekAbsolute = 0x1;
inline constexpr DWORD AM_SEEKING_CanSeekForwards = 0x2;
inline constexpr DWORD AM_SEEKING_CanSeekBackwards = 0x4;
inline constexpr DWORD AM_SEEKING_CanGetCurrentPos = 0x8;
inline constexpr DWORD AM_SEEKING_CanGetStopPos = 0x10;
inline constexpr DWORD AM_SEEKING_CanGetDuration = 0x20;

struct IMediaSeeking : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetCapabilities(DWORD* capabilities) = 0;
    virtual HRESULT STDMETHODCALLTYPE CheckCapabilities(DWORD* capabilities) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsFormatSupported(const GUID* format) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryPreferredFormat(GUID* format) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTimeFormat(GUID* format) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsUsingTimeFormat(const GUID* format) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetTimeFormat(const GUID* format) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDuration(LONGLONG* duration) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetStopPosition(LONGLONG* stop) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCurrentPosition(LONGLONG* current) = 0;
    virtual HRESULT STDMETHODCALLTYPE ConvertTimeFormat(LONGLONG* target, const GUID* target_format,
                                                        LONGLONG source,
                                                        const GUID* source_format) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetPositions(LONGLONG* current, DWORD current_flags,
                                                   LONGLONG* stop, DWORD stop_flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPositions(LONGLONG* current, LONGLONG* stop) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAvailable(LONGLONG* earliest, LONGLONG* latest) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetRate(double rate) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRate(double* rate) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPreroll(LONGLONG* preroll) = 0;
};
VIMBREL_INTERFACE_ID(IMediaSeeking, 0x36b73880, 0xc2c8, 0x11cf, 0x8b, 0x46, 0x00, 0x80, 0x5f, 0x6c,
                     0xef, 0x60);

inline constexpr DWORD AMSTREAMSELECTINFO_ENABLED = 0x1;
inline constexpr DWORD AMSTREAMSELECTENABLE_ENABLE = 0x1;

inline constexpr ULONG AM_FILTER_MISC_FLAGS_IS_RENDERER = 0x1;
inline constexpr ULONG AM_FILTER_MISC_FLAGS_IS_SOURCE = 0x2;

struct IAMFilterMiscFlags : IUnknown {
    virtual ULONG STDMETHODCALLTYPE GetMiscFlags() = 0;
};
VIMBREL_INTERFACE_ID(IAMFilterMiscFlags, 0x2dd74950, 0xa890, 0x11d1, 0xab, 0xe8, 0x00, 0xa0, 0xc9,
                     0x05, 0xf3, 0x75);

struct IFileSourceFilter : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Load(LPCOLESTR name, const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE* type) = 0;
};
VIMBREL_INTERFACE_ID(IFileSourceFilter, 0x56a868a6, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf,
                     0x0b, 0xa7, 0x70);

struct IMediaEventSink : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Notify(LONG code, LONG_PTR first, LONG_PTR second) = 0;
};
VIMBREL_INTERFACE_ID(IMediaEventSink, 0x56a868a2, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf,
                     0x0b, 0xa7, 0x70);

struct IFilterGraph : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE AddFilter(IBaseFilter* filter, LPCWSTR name) = 0;
    virtual HRESULT STDMETHODCALLTYPE RemoveFilter(IBaseFilter* filter) = 0;
    virtual HRESULT STDMETHODCALLTYPE EnumFilters(IEnumFilters** enumerator) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindFilterByName(LPCWSTR name, IBaseFilter** filter) = 0;
    virtual HRESULT STDMETHODCALLTYPE ConnectDirect(IPin* output, IPin* input,
                                                    const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reconnect(IPin* pin) = 0;
    virtual HRESULT STDMETHODCALLTYPE Disconnect(IPin* pin) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDefaultSyncSource() = 0;
};
VIMBREL_INTERFACE_ID(IFilterGraph, 0x56a8689f, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b,
                     0xa7, 0x70);

struct IGraphBuilder : IFilterGraph {
    virtual HRESULT STDMETHODCALLTYPE Connect(IPin* output, IPin* input) = 0;
    virtual HRESULT STDMETHODCALLTYPE Render(IPin* output) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddSourceFilter(LPCWSTR file, LPCWSTR name,
                                                      IBaseFilter** filter) = 0;
};
VIMBREL_INTERFACE_ID(IGraphBuilder, 0x56a868a9, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b,
                     0xa7, 0x70);

inline constexpr DWORD AM_RENDEREX_RENDERTOEXISTINGRENDERERS = 1;

struct IFilterGraph2 : IGraphBuilder {
    virtual HRESULT STDMETHODCALLTYPE ReconnectEx(IPin* pin, const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE RenderEx(IPin* output, DWORD flags, DWORD* context) = 0;
};
VIMBREL_INTERFACE_ID(IFilterGraph2, 0x36b73882, 0xc2c8, 0x11cf, 0x8b, 0x46, 0x00, 0x80, 0x5f, 0x6c,
                     0xef, 0x60);

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

struct ICreateDevEnum : IUnknown {
    // S_FALSE and null for a category without devices.
    virtual HRESULT STDMETHODCALLTYPE CreateClassEnumerator(REFCLSID category,
                                                            IEnumMoniker** enumerator,
                                                            DWORD flags) = 0;
};
VIMBREL_INTERFACE_ID(ICreateDevEnum, 0x29840822, 0x5b84, 0x11d0, 0xbd, 0x3b, 0x00, 0xa0, 0xc9, 0x11,
                     0xce, 0x86);

typedef struct _VIDEO_STREAM_CONFIG_CAPS {
    GUID guid;
    ULONG VideoStandard;
    SIZE InputSize;
    SIZE MinCroppingSize;
    SIZE MaxCroppingSize;
    INT CropGranularityX;
    INT CropGranularityY;
    INT CropAlignX;
    INT CropAlignY;
    SIZE MinOutputSize;
    SIZE MaxOutputSize;
    INT OutputGranularityX;
    INT OutputGranularityY;
    INT StretchTapsX;
    INT StretchTapsY;
    INT ShrinkTapsX;
    INT ShrinkTapsY;
    LONGLONG MinFrameInterval;
    LONGLONG MaxFrameInterval;
    LONG MinBitsPerSecond;
    LONG MaxBitsPerSecond;
} VIDEO_STREAM_CONFIG_CAPS;

struct IAMStreamConfig : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetFormat(AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFormat(AM_MEDIA_TYPE** type) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNumberOfCapabilities(int* count, int* size) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetStreamCaps(int index, AM_MEDIA_TYPE** type,
                                                    BYTE* capability) = 0;
};
VIMBREL_INTERFACE_ID(IAMStreamConfig, 0xc6e13340, 0x30ac, 0x11d0, 0xa1, 0x8c, 0x00, 0xa0, 0xc9,
                     0x11, 0x89, 0x56);

typedef enum AMPROPERTY_PIN {
    AMPROPERTY_PIN_CATEGORY = 0,
    AMPROPERTY_PIN_MEDIUM = 1
} AMPROPERTY_PIN;

inline constexpr DWORD KSPROPERTY_SUPPORT_GET = 1;
inline constexpr DWORD KSPROPERTY_SUPPORT_SET = 2;

struct IKsPropertySet : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Set(REFGUID set, DWORD id, void* instance,
                                          DWORD instance_size, void* data, DWORD size) = 0;
    virtual HRESULT STDMETHODCALLTYPE Get(REFGUID set, DWORD id, void* instance,
                                          DWORD instance_size, void* data, DWORD size,
                                          DWORD* returned) = 0;
    virtual HRESULT STDMETHODCALLTYPE QuerySupported(REFGUID set, DWORD id, DWORD* support) = 0;
};
VIMBREL_INTERFACE_ID(IKsPropertySet, 0x31efac30, 0x515c, 0x11d0, 0xa9, 0xaa, 0x00, 0xaa, 0x00, 0x61,
                     0xbe, 0x93);

struct IAMStreamSelect : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Count(DWORD* streams) = 0;
    virtual HRESULT STDMETHODCALLTYPE Info(LONG index, AM_MEDIA_TYPE** type, DWORD* flags,
                                           LCID* locale, DWORD* group, WCHAR** name,
                                           IUnknown** object, IUnknown** unknown) = 0;
    virtual HRESULT STDMETHODCALLTYPE Enable(LONG index, DWORD flags) = 0;
};
VIMBREL_INTERFACE_ID(IAMStreamSelect, 0xc1960960, 0x17f5, 0x11d1, 0xab, 0xe1, 0x00, 0xa0, 0xc9,
                     0x05, 0xf3, 0x75);

// A member of -1 leaves the choice to the filter.
struct IAMBufferNegotiation : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE
    SuggestAllocatorProperties(const ALLOCATOR_PROPERTIES* properties) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAllocatorProperties(ALLOCATOR_PROPERTIES* properties) = 0;
};
VIMBREL_INTERFACE_ID(IAMBufferNegotiation, 0x56ed71a0, 0xaf5f, 0x11d0, 0xb3, 0xf0, 0x00, 0xaa, 0x00,
                     0x37, 0x61, 0xc5);

struct IAMAudioInputMixer : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE put_Enable(BOOL enable) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Enable(BOOL* enable) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_Mono(BOOL mono) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Mono(BOOL* mono) = 0;
    // From 0 to 1.
    virtual HRESULT STDMETHODCALLTYPE put_MixLevel(double level) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_MixLevel(double* level) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_Pan(double pan) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Pan(double* pan) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_Loudness(BOOL loudness) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Loudness(BOOL* loudness) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_Treble(double treble) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Treble(double* treble) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_TrebleRange(double* range) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_Bass(double bass) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Bass(double* bass) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_BassRange(double* range) = 0;
};
VIMBREL_INTERFACE_ID(IAMAudioInputMixer, 0x54c39221, 0x8380, 0x11d0, 0xb3, 0xf0, 0x00, 0xaa, 0x00,
                     0x37, 0x61, 0xc5);

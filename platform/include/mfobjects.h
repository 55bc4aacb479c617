// The media pipeline's building blocks: attributes, types, samples, events and asynchronous
// results; cut to what the library calls, but for the interfaces that it implements. Inside the
// library only.
//
// Every object may be used on any thread at any time, unless said so. Every `**` result receives an
// added reference on success and null on failure; a result pointer that is null gives E_POINTER.
#pragma once

#include "propidl.h"

using QWORD = ULONGLONG;

enum MF_ATTRIBUTE_TYPE : DWORD {
    MF_ATTRIBUTE_UINT32 = VT_UI4,
    MF_ATTRIBUTE_UINT64 = VT_UI8,
    MF_ATTRIBUTE_DOUBLE = VT_R8,
    MF_ATTRIBUTE_GUID = VT_CLSID,
    MF_ATTRIBUTE_STRING = VT_LPWSTR,
    MF_ATTRIBUTE_BLOB = VT_VECTOR | VT_UI1,
    MF_ATTRIBUTE_IUNKNOWN = VT_UNKNOWN,
};

enum MFVideoInterlaceMode : DWORD {
    MFVideoInterlace_Unknown = 0,
    MFVideoInterlace_Progressive = 2,
};

// The kind of an event; its value, if any, is separate.
using MediaEventType = DWORD;
enum : DWORD {
    MEUnknown = 0,
    MEError = 1,
    MENonFatalError = 3,
    MESessionTopologySet = 101,  // the topology
    MESessionStarted = 103,
    MESessionClosed = 106,
    MESessionEnded = 107,
    MESourceStarted = 201,  // the start position
    MEStreamStarted = 202,  // the start position
    MENewStream = 205,      // the stream
    MEUpdatedStream = 206,  // the stream
    MESourceStopped = 207,
    MEStreamStopped = 208,
    MESourcePaused = 209,
    MEStreamPaused = 210,
    MEEndOfPresentation = 211,
    MEEndOfStream = 212,
    MEMediaSample = 213,  // the sample
    METransformNeedInput = 601,
    METransformHaveOutput = 602,
    METransformDrainComplete = 603,
};

inline constexpr DWORD MF_EVENT_FLAG_NO_WAIT = 0x1;
inline constexpr DWORD MFASYNC_CALLBACK_QUEUE_STANDARD = 0x1;

// Typed values by key. A getter of one type fails with MF_E_ATTRIBUTENOTFOUND for a key that is not
// there and with MF_E_INVALIDTYPE for one of another type.
struct IMFAttributes : IUnknown {
    // The caller clears the value. `value` may be null to ask only whether the key is there.
    virtual HRESULT STDMETHODCALLTYPE GetItem(REFGUID key, PROPVARIANT* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetItemType(REFGUID key, MF_ATTRIBUTE_TYPE* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetUINT32(REFGUID key, UINT32* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetUINT64(REFGUID key, UINT64* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDouble(REFGUID key, double* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetGUID(REFGUID key, GUID* value) = 0;
    // Lengths are without the terminating zero, sizes of buffers with it. A buffer that is too
    // small gives MF_E_BUFFERTOOSMALL.
    virtual HRESULT STDMETHODCALLTYPE GetStringLength(REFGUID key, UINT32* length) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetString(REFGUID key, LPWSTR value, UINT32 size,
                                                UINT32* length) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetBlobSize(REFGUID key, UINT32* size) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetBlob(REFGUID key, UINT8* value, UINT32 size,
                                              UINT32* blob_size) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetUnknown(REFGUID key, REFIID iid, LPVOID* object) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetItem(REFGUID key, REFPROPVARIANT value) = 0;
    // S_OK also if there was none.
    virtual HRESULT STDMETHODCALLTYPE DeleteItem(REFGUID key) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteAllItems() = 0;
    virtual HRESULT STDMETHODCALLTYPE SetUINT32(REFGUID key, UINT32 value) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetUINT64(REFGUID key, UINT64 value) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDouble(REFGUID key, double value) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetGUID(REFGUID key, REFGUID value) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetString(REFGUID key, LPCWSTR value) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetBlob(REFGUID key, const UINT8* value, UINT32 size) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetUnknown(REFGUID key, IUnknown* object) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCount(UINT32* count) = 0;
    // Items stand in the order in which their keys came. `value` may be null.
    virtual HRESULT STDMETHODCALLTYPE GetItemByIndex(UINT32 index, GUID* key,
                                                     PROPVARIANT* value) = 0;
    // Replaces all that `target` has.
    virtual HRESULT STDMETHODCALLTYPE CopyAllItems(IMFAttributes* target) = 0;
};
VIMBREL_INTERFACE_ID(IMFAttributes, 0x2cd2d921, 0xc447, 0x44a7, 0xa1, 0x3c, 0x4a, 0xda, 0xbf, 0xc2,
                     0x47, 0xe3);

// Memory. Between Lock and Unlock one thread at a time uses the bytes.
struct IMFMediaBuffer : IUnknown {
    // `max_length` and `current_length` may be null.
    virtual HRESULT STDMETHODCALLTYPE Lock(BYTE** data, DWORD* max_length,
                                           DWORD* current_length) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unlock() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCurrentLength(DWORD* length) = 0;
    // E_INVALIDARG beyond the size.
    virtual HRESULT STDMETHODCALLTYPE SetCurrentLength(DWORD length) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMaxLength(DWORD* length) = 0;
};
VIMBREL_INTERFACE_ID(IMFMediaBuffer, 0x045fa593, 0x8799, 0x42b8, 0xbc, 0x8d, 0x89, 0x68, 0xc6, 0x45,
                     0x35, 0x07);

// Buffers with a time, in units of 100 ns.
struct IMFSample : IMFAttributes {
    // MF_E_NO_SAMPLE_TIMESTAMP, MF_E_NO_SAMPLE_DURATION if it was never set.
    virtual HRESULT STDMETHODCALLTYPE GetSampleTime(LONGLONG* time) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSampleTime(LONGLONG time) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSampleDuration(LONGLONG* duration) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSampleDuration(LONGLONG duration) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetBufferCount(DWORD* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetBufferByIndex(DWORD index, IMFMediaBuffer** buffer) = 0;
    // The only buffer if there is one; several are copied into one, which takes their place.
    // Without one E_UNEXPECTED.
    virtual HRESULT STDMETHODCALLTYPE ConvertToContiguousBuffer(IMFMediaBuffer** buffer) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddBuffer(IMFMediaBuffer* buffer) = 0;
    virtual HRESULT STDMETHODCALLTYPE RemoveAllBuffers() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTotalLength(DWORD* length) = 0;
};
VIMBREL_INTERFACE_ID(IMFSample, 0xc40a00f2, 0xb93a, 0x4d80, 0xae, 0x8c, 0x5a, 0x1c, 0x63, 0x4f,
                     0x58, 0xe4);

struct IMFMediaType : IMFAttributes {
    virtual HRESULT STDMETHODCALLTYPE GetMajorType(GUID* type) = 0;
};
VIMBREL_INTERFACE_ID(IMFMediaType, 0x44ae0fa8, 0xea31, 0x4109, 0x8d, 0x2e, 0x4c, 0xae, 0x49, 0x97,
                     0xc5, 0x55);

struct IMFAudioMediaType : IMFMediaType {};
VIMBREL_INTERFACE_ID(IMFAudioMediaType, 0x26a0adc3, 0xce26, 0x4672, 0x93, 0x04, 0x69, 0x55, 0x2e,
                     0xdd, 0x3f, 0xaf);

struct IMFVideoMediaType : IMFMediaType {};
VIMBREL_INTERFACE_ID(IMFVideoMediaType, 0xb99f381f, 0xa8f9, 0x47a2, 0xa5, 0xaf, 0xca, 0x3a, 0x22,
                     0x5a, 0x38, 0x90);

// The outcome of an operation on its way to the callback.
struct IMFCollection : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetElementCount(DWORD* count) = 0;
};
VIMBREL_INTERFACE_ID(IMFCollection, 0x5bc8a76b, 0x869a, 0x46a3, 0x9b, 0x03, 0xfa, 0x21, 0x8a, 0x66,
                     0xae, 0xbe);

struct MFT_REGISTER_TYPE_INFO {
    GUID guidMajorType;
    GUID guidSubtype;
};

// Something that can be made. Its attributes describe it.
struct IMFActivate : IMFAttributes {
    // The same object until ShutdownObject.
    virtual HRESULT STDMETHODCALLTYPE ActivateObject(REFIID iid, void** object) = 0;
    virtual HRESULT STDMETHODCALLTYPE ShutdownObject() = 0;
    virtual HRESULT STDMETHODCALLTYPE DetachObject() = 0;
};
VIMBREL_INTERFACE_ID(IMFActivate, 0x7fee9e9a, 0x4a89, 0x47a6, 0x89, 0x9c, 0xb6, 0xa5, 0x3a, 0x70,
                     0xfb, 0x67);

struct IMFAsyncResult : IUnknown {
    // E_POINTER if the operation was begun without a state.
    virtual HRESULT STDMETHODCALLTYPE GetState(IUnknown** state) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetStatus() = 0;
    virtual HRESULT STDMETHODCALLTYPE SetStatus(HRESULT status) = 0;
    // E_POINTER if there is none.
    virtual HRESULT STDMETHODCALLTYPE GetObject(IUnknown** object) = 0;
    // The state without a reference of the caller's own, or null.
    virtual IUnknown* STDMETHODCALLTYPE GetStateNoAddRef() = 0;
};
VIMBREL_INTERFACE_ID(IMFAsyncResult, 0xac6b7889, 0x0740, 0x4d51, 0x86, 0x19, 0x90, 0x59, 0x94, 0xa5,
                     0x5c, 0xc6);

// Implemented by whoever begins an operation.
struct IMFAsyncCallback : IUnknown {
    // E_NOTIMPL for the standard queue.
    virtual HRESULT STDMETHODCALLTYPE GetParameters(DWORD* flags, DWORD* queue) = 0;
    // On a thread of the work queue. It may block: others do not wait for it.
    virtual HRESULT STDMETHODCALLTYPE Invoke(IMFAsyncResult* result) = 0;
};
VIMBREL_INTERFACE_ID(IMFAsyncCallback, 0xa27003cf, 0x2354, 0x4f2a, 0x8d, 0x6a, 0xab, 0x7c, 0xff,
                     0x15, 0x43, 0x7e);

struct IMFMediaEvent : IMFAttributes {
    virtual HRESULT STDMETHODCALLTYPE GetType(MediaEventType* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetExtendedType(GUID* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetStatus(HRESULT* status) = 0;
    // The caller clears the value.
    virtual HRESULT STDMETHODCALLTYPE GetValue(PROPVARIANT* value) = 0;
};
VIMBREL_INTERFACE_ID(IMFMediaEvent, 0xdf598932, 0xf10c, 0x4e39, 0xbb, 0xa2, 0xc3, 0x08, 0xf1, 0x01,
                     0xda, 0xa3);

struct IMFMediaEventGenerator : IUnknown {
    // Waits for an event unless `flags` is MF_EVENT_FLAG_NO_WAIT; then there may be
    // MF_E_NO_EVENTS_AVAILABLE.
    virtual HRESULT STDMETHODCALLTYPE GetEvent(DWORD flags, IMFMediaEvent** event) = 0;
    // The callback is invoked once, when there is an event or the queue is shut down, and calls
    // EndGetEvent. While one waits, MF_S_MULTIPLE_BEGIN for the same callback and state,
    // MF_E_MULTIPLE_BEGIN for the same callback with another state, MF_E_MULTIPLE_SUBSCRIBERS for
    // another callback and for GetEvent.
    virtual HRESULT STDMETHODCALLTYPE BeginGetEvent(IMFAsyncCallback* callback,
                                                    IUnknown* state) = 0;
    virtual HRESULT STDMETHODCALLTYPE EndGetEvent(IMFAsyncResult* result,
                                                  IMFMediaEvent** event) = 0;
    // `value` may be null for none.
    virtual HRESULT STDMETHODCALLTYPE QueueEvent(MediaEventType type, REFGUID extended_type,
                                                 HRESULT status, const PROPVARIANT* value) = 0;
};
VIMBREL_INTERFACE_ID(IMFMediaEventGenerator, 0x2cd0bd52, 0xbcd5, 0x4b89, 0xb6, 0x2c, 0xea, 0xdc,
                     0x0c, 0x03, 0x1e, 0x7d);

// What a generator of events hands its calls on to. After Shutdown every call gives MF_E_SHUTDOWN,
// those that wait included.
struct IMFMediaEventQueue : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetEvent(DWORD flags, IMFMediaEvent** event) = 0;
    virtual HRESULT STDMETHODCALLTYPE BeginGetEvent(IMFAsyncCallback* callback,
                                                    IUnknown* state) = 0;
    virtual HRESULT STDMETHODCALLTYPE EndGetEvent(IMFAsyncResult* result,
                                                  IMFMediaEvent** event) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueueEvent(IMFMediaEvent* event) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueueEventParamVar(MediaEventType type, REFGUID extended_type,
                                                         HRESULT status,
                                                         const PROPVARIANT* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueueEventParamUnk(MediaEventType type, REFGUID extended_type,
                                                         HRESULT status, IUnknown* object) = 0;
    // Releases the events that were not fetched.
    virtual HRESULT STDMETHODCALLTYPE Shutdown() = 0;
};
VIMBREL_INTERFACE_ID(IMFMediaEventQueue, 0x36f846fc, 0x2256, 0x48b6, 0xb5, 0x8e, 0xe2, 0xb6, 0x38,
                     0x31, 0x65, 0x81);

// Transforms: encoders and converters. Inside the library only.
#pragma once

#include "mfapi.h"

enum MFT_MESSAGE_TYPE : DWORD {
    MFT_MESSAGE_COMMAND_FLUSH = 0x0,
    MFT_MESSAGE_COMMAND_DRAIN = 0x1,
    MFT_MESSAGE_SET_D3D_MANAGER = 0x2,
    MFT_MESSAGE_NOTIFY_BEGIN_STREAMING = 0x10000000,
    MFT_MESSAGE_NOTIFY_END_STREAMING = 0x10000001,
    MFT_MESSAGE_NOTIFY_END_OF_STREAM = 0x10000002,
    MFT_MESSAGE_NOTIFY_START_OF_STREAM = 0x10000003,
    MFT_MESSAGE_COMMAND_MARKER = 0x20000000,
};

enum : DWORD {
    MFT_OUTPUT_STREAM_WHOLE_SAMPLES = 0x1,
    MFT_OUTPUT_STREAM_SINGLE_SAMPLE_PER_BUFFER = 0x2,
    MFT_OUTPUT_STREAM_FIXED_SAMPLE_SIZE = 0x4,
    MFT_OUTPUT_STREAM_PROVIDES_SAMPLES = 0x100,
    MFT_OUTPUT_STREAM_CAN_PROVIDE_SAMPLES = 0x200,
};

struct MFT_INPUT_STREAM_INFO {
    LONGLONG hnsMaxLatency;
    DWORD dwFlags;
    DWORD cbSize;
    DWORD cbMaxLookahead;
    DWORD cbAlignment;
};

struct MFT_OUTPUT_STREAM_INFO {
    DWORD dwFlags;
    DWORD cbSize;  // of the buffer that ProcessOutput is to be given
    DWORD cbAlignment;
};

struct MFT_OUTPUT_DATA_BUFFER {
    DWORD dwStreamID;
    IMFSample* pSample;  // the caller's, or null for one of the transform's, of which the caller
                         // then owns a reference
    DWORD dwStatus;
    IMFCollection* pEvents;  // null, or the caller's to release
};

// One stream in and one out, both of number 0. One thread at a time.
struct IMFTransform : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetStreamLimits(DWORD* input_minimum, DWORD* input_maximum,
                                                      DWORD* output_minimum,
                                                      DWORD* output_maximum) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetStreamCount(DWORD* inputs, DWORD* outputs) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetStreamIDs(DWORD input_size, DWORD* inputs,
                                                   DWORD output_size, DWORD* outputs) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetInputStreamInfo(DWORD stream,
                                                         MFT_INPUT_STREAM_INFO* info) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetOutputStreamInfo(DWORD stream,
                                                          MFT_OUTPUT_STREAM_INFO* info) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAttributes(IMFAttributes** attributes) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetInputStreamAttributes(DWORD stream,
                                                               IMFAttributes** attributes) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetOutputStreamAttributes(DWORD stream,
                                                                IMFAttributes** attributes) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteInputStream(DWORD stream) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddInputStreams(DWORD count, DWORD* streams) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetInputAvailableType(DWORD stream, DWORD index,
                                                            IMFMediaType** type) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetOutputAvailableType(DWORD stream, DWORD index,
                                                             IMFMediaType** type) = 0;
    // Null removes the type. MF_E_INVALIDMEDIATYPE for one that the transform cannot take.
    virtual HRESULT STDMETHODCALLTYPE SetInputType(DWORD stream, IMFMediaType* type,
                                                   DWORD flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetOutputType(DWORD stream, IMFMediaType* type,
                                                    DWORD flags) = 0;
    // MF_E_TRANSFORM_TYPE_NOT_SET before it was set.
    virtual HRESULT STDMETHODCALLTYPE GetInputCurrentType(DWORD stream, IMFMediaType** type) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetOutputCurrentType(DWORD stream, IMFMediaType** type) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetInputStatus(DWORD stream, DWORD* flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetOutputStatus(DWORD* flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetOutputBounds(LONGLONG lower, LONGLONG upper) = 0;
    virtual HRESULT STDMETHODCALLTYPE ProcessEvent(DWORD stream, IMFMediaEvent* event) = 0;
    virtual HRESULT STDMETHODCALLTYPE ProcessMessage(MFT_MESSAGE_TYPE message,
                                                     ULONG_PTR parameter) = 0;
    // MF_E_NOTACCEPTING while output waits that has to be taken first.
    virtual HRESULT STDMETHODCALLTYPE ProcessInput(DWORD stream, IMFSample* sample,
                                                   DWORD flags) = 0;
    // MF_E_TRANSFORM_NEED_MORE_INPUT if there is nothing to take; MF_E_TRANSFORM_STREAM_CHANGE if
    // the output's type has to be set anew first.
    virtual HRESULT STDMETHODCALLTYPE ProcessOutput(DWORD flags, DWORD count,
                                                    MFT_OUTPUT_DATA_BUFFER* samples,
                                                    DWORD* status) = 0;
};
VIMBREL_INTERFACE_ID(IMFTransform, 0xbf94c121, 0x5b05, 0x4e6f, 0x80, 0x00, 0xba, 0x59, 0x89, 0x61,
                     0x41, 0x4d);

// UINT32: whether a transform is asynchronous; whether its user has said to support that;
// MFT_ENUM_FLAG values of an activate.
DEFINE_GUID(MF_TRANSFORM_ASYNC, 0xf81a699a, 0x649a, 0x497d, 0x8c, 0x73, 0x29, 0xf8, 0xfe, 0xd6,
            0xad, 0x7a);
DEFINE_GUID(MF_TRANSFORM_ASYNC_UNLOCK, 0xe5666d6b, 0x3422, 0x4eb6, 0xa4, 0x21, 0xda, 0x7d, 0xb1,
            0xf8, 0xe2, 0x07);
DEFINE_GUID(MF_TRANSFORM_FLAGS_Attribute, 0x9359bb7e, 0x6275, 0x46c4, 0xa0, 0x25, 0x1c, 0x01, 0xe4,
            0x5f, 0x1a, 0x86);
DEFINE_GUID(MFT_FRIENDLY_NAME_Attribute, 0x314ffbae, 0x5b41, 0x4c95, 0x9c, 0x19, 0x4e, 0x7d, 0x58,
            0x6f, 0xac, 0xe3);  // string

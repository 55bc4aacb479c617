// H.264 as a synchronous transform: a frame in, its access unit out.
#pragma once

#include <strmif.h>

#include <deque>

#include "platform/linux/codec/LiveVideoEncoder.h"
#include "platform/linux/mf/transform/TransformObject.h"

namespace Vimbrel {

// The output type is set first, and gets the sequence header with the first key frame. The quality
// can be set until the first frame.
class H264EncoderTransform final
    : public TransformObject<Implements<IMFTransform>, Implements<ICodecAPI>> {
public:
    // `hardware` may be null for libx264, and outlives the object.
    explicit H264EncoderTransform(const HardwareEncoder* hardware) : hardware_(hardware) {}

    HRESULT STDMETHODCALLTYPE GetOutputStreamInfo(DWORD stream,
                                                  MFT_OUTPUT_STREAM_INFO* info) override;
    HRESULT STDMETHODCALLTYPE GetOutputAvailableType(DWORD stream, DWORD index,
                                                     IMFMediaType** type) override;
    HRESULT STDMETHODCALLTYPE SetInputType(DWORD stream, IMFMediaType* type, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE SetOutputType(DWORD stream, IMFMediaType* type, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE ProcessMessage(MFT_MESSAGE_TYPE message,
                                             ULONG_PTR parameter) override;
    // MF_E_NOTACCEPTING while an access unit waits.
    HRESULT STDMETHODCALLTYPE ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE ProcessOutput(DWORD flags, DWORD count,
                                            MFT_OUTPUT_DATA_BUFFER* samples,
                                            DWORD* status) override;

    HRESULT STDMETHODCALLTYPE IsSupported(const GUID* api) override;
    HRESULT STDMETHODCALLTYPE IsModifiable(const GUID* api) override;
    HRESULT STDMETHODCALLTYPE GetParameterRange(const GUID* api, VARIANT* minimum, VARIANT* maximum,
                                                VARIANT* step) override;
    HRESULT STDMETHODCALLTYPE GetParameterValues(const GUID* api, VARIANT** values,
                                                 ULONG* count) override;
    HRESULT STDMETHODCALLTYPE GetDefaultValue(const GUID* api, VARIANT* value) override;
    HRESULT STDMETHODCALLTYPE GetValue(const GUID* api, VARIANT* value) override;
    HRESULT STDMETHODCALLTYPE SetValue(const GUID* api, VARIANT* value) override;

private:
    struct Stamp {
        LONGLONG time;
        LONGLONG duration;
    };

    HRESULT Open();
    HRESULT KeepSequenceHeader();

    const HardwareEncoder* const hardware_;
    LiveVideoSettings settings_;
    ULONG rate_control_ = 0;
    ULONG quality_percent_ = 100;
    bool open_ = false;
    bool has_sequence_header_ = false;
    LiveVideoEncoder encoder_;
    std::deque<Stamp> stamps_;  // of frames whose access units are not out yet
};

HRESULT CreateSoftwareH264Encoder(REFIID iid, void** object);

}  // namespace Vimbrel

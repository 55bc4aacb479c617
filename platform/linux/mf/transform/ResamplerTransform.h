// Conversion of sound between rates, channel counts and sample formats, as a transform.
#pragma once

#include "platform/linux/ffmpeg/FfmpegHandles.h"
#include "platform/linux/mf/transform/TransformObject.h"

namespace Vimbrel {

// Interleaved PCM of 8 (unsigned), 16 or 32 bits, or 32-bit float; 1 to 8 channels in the order of
// the published speaker positions, of which 4 are quad, 6 are 5.1 and 8 are 7.1. One ProcessOutput
// per ProcessInput yields all that is ready; what does not fit comes with the next block. A drain
// yields nothing, because nobody fetches the few milliseconds in the filter. Nothing is allocated
// per block once the largest block has passed.
class ResamplerTransform final : public TransformObject<Implements<IMFTransform>> {
public:
    HRESULT STDMETHODCALLTYPE GetOutputStreamInfo(DWORD stream,
                                                  MFT_OUTPUT_STREAM_INFO* info) override;
    HRESULT STDMETHODCALLTYPE SetInputType(DWORD stream, IMFMediaType* type, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE SetOutputType(DWORD stream, IMFMediaType* type, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE ProcessMessage(MFT_MESSAGE_TYPE message,
                                             ULONG_PTR parameter) override;
    HRESULT STDMETHODCALLTYPE ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE ProcessOutput(DWORD flags, DWORD count,
                                            MFT_OUTPUT_DATA_BUFFER* samples,
                                            DWORD* status) override;

private:
    struct Format {
        AVSampleFormat samples = AV_SAMPLE_FMT_NONE;
        int rate = 0;
        int channels = 0;

        DWORD FrameBytes() const;
    };

    static HRESULT Read(IMFMediaType* type, Format& format);
    HRESULT SetType(DWORD stream, IMFMediaType* type, ComPtr<IMFMediaType>& current,
                    Format& format);
    HRESULT Open();
    void Discard();

    Format input_;
    Format output_;
    FfmpegPtr<SwrContext> context_;
    ComPtr<IMFSample> waiting_;
    bool used_ = false;  // since the context was made
};

HRESULT CreateResampler(REFIID iid, void** object);

}  // namespace Vimbrel

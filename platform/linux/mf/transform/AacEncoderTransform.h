// PCM to AAC LC without ADTS headers, as a transform.
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "platform/linux/codec/AudioEncoder.h"
#include "platform/linux/mf/transform/TransformObject.h"

namespace Vimbrel {

// 16 bits, 1, 2 or 6 channels, the same rate and channels in and out. The output type gets
// MF_MT_USER_DATA: a head of 12 bytes and the AudioSpecificConfig. One frame per ProcessOutput.
class AacEncoderTransform final : public TransformObject<Implements<IMFTransform>> {
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
    AudioInput input_;
    std::unique_ptr<AudioEncoder> encoder_;
    std::deque<std::vector<std::uint8_t>> frames_;
};

HRESULT CreateAacEncoder(REFIID iid, void** object);

}  // namespace Vimbrel

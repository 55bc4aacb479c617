// Conversion of a stream of sound between two formats by the system's resampler.
#pragma once

#include <windows.h>

#include <mfobjects.h>
#include <mftransform.h>
#include <mmreg.h>

#include <cstdint>
#include <memory>

#include "com/ComPtr.h"

namespace Vimbrel {

// One thread at a time, with COM started. Nothing is allocated once the largest block has passed.
class AudioResampler {
public:
    AudioResampler() = default;
    virtual ~AudioResampler() = default;
    AudioResampler(const AudioResampler&) = delete;
    AudioResampler& operator=(const AudioResampler&) = delete;

    // E_INVALIDARG for a format that has no media type; otherwise the system's result.
    HRESULT Initialize(const WAVEFORMATEX* input, const WAVEFORMATEX* output);
    void Shutdown();

    // Exactly one Fetch follows each successful Feed. E_FAIL before Initialize. A block of more
    // than 2 seconds is replaced by 2 seconds of silence.
    HRESULT Feed(unsigned char* data, unsigned size);
    // The converted bytes, which stay valid until the next Fetch. A size of 0 is no error: the
    // resampler needs more input.
    unsigned char* Fetch(unsigned* size);

private:
    HRESULT CreateSamples();

    ComPtr<IMFTransform> transform;
    std::uint64_t input_size = 0;
    ComPtr<IMFMediaBuffer> input_buffer;
    ComPtr<IMFSample> input_sample;
    std::uint64_t output_size = 0;
    ComPtr<IMFMediaBuffer> output_buffer;
    ComPtr<IMFSample> output_sample;
    std::unique_ptr<unsigned char[]> output_block;
};

}  // namespace Vimbrel

#include "Audio/AudioResampler.h"

#include <mfapi.h>
#include <wmcodecdsp.h>

#include <algorithm>
#include <cstring>

#include "base/MediaSample.h"
#include "base/ObjectCreation.h"

namespace Vimbrel {

namespace {

// Tags whose number, in the first word of the base identifier, is the sub-type.
constexpr WORD plain_tags[] = {1, 3, 8, 9, 10, 80, 85, 146, 353, 354, 355, 356, 5632, 5648};

HRESULT SubtypeOf(const WAVEFORMATEX& format, GUID& subtype) {
    if (format.wFormatTag == WAVE_FORMAT_EXTENSIBLE) {
        WAVEFORMATEXTENSIBLE extensible;
        constexpr WORD extra_bytes = sizeof extensible - sizeof format;
        if (format.cbSize < extra_bytes) return E_INVALIDARG;
        std::memcpy(&extensible, &format, sizeof extensible);
        subtype = extensible.SubFormat;
        return subtype == MFAudioFormat_PCM || subtype == MFAudioFormat_Float ? S_OK : E_INVALIDARG;
    }
    // A copy, because a format is packed: nothing may refer to a member at an odd address.
    const WORD tag = format.wFormatTag;
    if (std::find(std::begin(plain_tags), std::end(plain_tags), tag) == std::end(plain_tags))
        return E_INVALIDARG;
    subtype = MFAudioFormat_PCM;
    subtype.Data1 = tag;
    return S_OK;
}

HRESULT CreateType(const WAVEFORMATEX& format, ComPtr<IMFMediaType>& type) {
    GUID subtype{};
    HRESULT hr = SubtypeOf(format, subtype);
    if (SUCCEEDED(hr)) hr = MFCreateMediaType(type.Put());
    if (SUCCEEDED(hr)) hr = type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Audio);
    if (SUCCEEDED(hr)) hr = type->SetGUID(MF_MT_SUBTYPE, subtype);
    const UINT32 block_align = format.wBitsPerSample / 8u * format.nChannels;
    const struct {
        const GUID& key;
        UINT32 value;
    } numbers[] = {
        {MF_MT_AUDIO_NUM_CHANNELS, format.nChannels},
        {MF_MT_AUDIO_SAMPLES_PER_SECOND, format.nSamplesPerSec},
        {MF_MT_AUDIO_BLOCK_ALIGNMENT, block_align},
        {MF_MT_AUDIO_AVG_BYTES_PER_SECOND, block_align * format.nSamplesPerSec},
        {MF_MT_AUDIO_BITS_PER_SAMPLE, format.wBitsPerSample},
        {MF_MT_ALL_SAMPLES_INDEPENDENT, 1},
    };
    for (const auto& number : numbers) {
        if (SUCCEEDED(hr)) hr = type->SetUINT32(number.key, number.value);
    }
    return hr;
}

HRESULT CreateSample(std::uint64_t size, ComPtr<IMFMediaBuffer>& buffer,
                     ComPtr<IMFSample>& sample) {
    if (size > UINT32_MAX) return E_OUTOFMEMORY;
    return MakeMemorySample(static_cast<DWORD>(size), sample, buffer);
}

}  // namespace

HRESULT AudioResampler::Initialize(const WAVEFORMATEX* input, const WAVEFORMATEX* output) {
    ComPtr<IMFTransform> created;
    ComPtr<IMFMediaType> input_type;
    ComPtr<IMFMediaType> output_type;
    HRESULT hr = CreateObject(CLSID_CResamplerMediaObject, created);
    if (SUCCEEDED(hr)) hr = CreateType(*input, input_type);
    if (SUCCEEDED(hr)) hr = created->SetInputType(0, input_type.Get(), 0);
    if (SUCCEEDED(hr)) hr = CreateType(*output, output_type);
    if (SUCCEEDED(hr)) hr = created->SetOutputType(0, output_type.Get(), 0);
    if (FAILED(hr)) return hr;

    constexpr std::uint64_t seconds = 2;
    output_size = seconds * output->nAvgBytesPerSec;
    input_size = seconds * input->nAvgBytesPerSec;
    output_block = std::make_unique<unsigned char[]>(output_size);
    hr = CreateSamples();
    if (FAILED(hr)) {
        Shutdown();
        return hr;
    }
    transform = created;
    transform->ProcessMessage(MFT_MESSAGE_COMMAND_FLUSH, 0);
    transform->ProcessMessage(MFT_MESSAGE_NOTIFY_BEGIN_STREAMING, 0);
    return transform->ProcessMessage(MFT_MESSAGE_NOTIFY_START_OF_STREAM, 0);
}

HRESULT AudioResampler::CreateSamples() {
    const HRESULT hr = CreateSample(input_size, input_buffer, input_sample);
    return SUCCEEDED(hr) ? CreateSample(output_size, output_buffer, output_sample) : hr;
}

void AudioResampler::Shutdown() {
    if (transform) {
        transform->ProcessMessage(MFT_MESSAGE_NOTIFY_END_OF_STREAM, 0);
        transform->ProcessMessage(MFT_MESSAGE_COMMAND_DRAIN, 0);
    }
    output_sample.Reset();
    output_buffer.Reset();
    input_sample.Reset();
    input_buffer.Reset();
    transform.Reset();
    input_size = 0;
    output_size = 0;
    output_block.reset();
}

HRESULT AudioResampler::Feed(unsigned char* data, unsigned size) {
    if (!transform) return E_FAIL;
    BYTE* target = nullptr;
    DWORD capacity = 0;
    HRESULT hr = input_buffer->Lock(&target, &capacity, nullptr);
    if (FAILED(hr)) return hr;
    if (size <= capacity) {
        std::memcpy(target, data, size);
    } else {
        std::memset(target, 0, capacity);
    }
    input_buffer->Unlock();
    hr = input_buffer->SetCurrentLength(std::min<DWORD>(capacity, size));
    return SUCCEEDED(hr) ? transform->ProcessInput(0, input_sample.Get(), 0) : hr;
}

unsigned char* AudioResampler::Fetch(unsigned* size) {
    *size = 0;
    if (!transform) return output_block.get();
    MFT_OUTPUT_DATA_BUFFER output{};
    output.pSample = output_sample.Get();
    DWORD status = 0;
    if (FAILED(transform->ProcessOutput(0, 1, &output, &status))) return output_block.get();
    BYTE* converted = nullptr;
    DWORD length = 0;
    if (SUCCEEDED(output_buffer->Lock(&converted, nullptr, &length))) {
        *size = static_cast<unsigned>(std::min<std::uint64_t>(length, output_size));
        std::memcpy(output_block.get(), converted, *size);
        output_buffer->Unlock();
    }
    return output_block.get();
}

}  // namespace Vimbrel

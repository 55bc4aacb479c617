#include "platform/linux/mf/transform/AacEncoderTransform.h"

#include <mfapi.h>

#include <array>
#include <cstring>
#include <new>

#include "platform/linux/mf/objects/MediaType.h"

namespace Vimbrel {
namespace {

struct AudioFormat {
    UINT32 rate = 0;
    UINT32 channels = 0;
    UINT32 bits = 0;
};

bool ReadFormat(IMFMediaType* type, const GUID& subtype, AudioFormat& format) {
    return IsMediaType(type, MFMediaType_Audio, subtype) &&
           SUCCEEDED(type->GetUINT32(MF_MT_AUDIO_SAMPLES_PER_SECOND, &format.rate)) &&
           SUCCEEDED(type->GetUINT32(MF_MT_AUDIO_NUM_CHANNELS, &format.channels)) &&
           SUCCEEDED(type->GetUINT32(MF_MT_AUDIO_BITS_PER_SAMPLE, &format.bits));
}

// Of a frame: the standard allows 6144 bits per channel.
constexpr DWORD most_bytes_per_channel = 768;

// The head of the structure before the AudioSpecificConfig: payload type 0 (raw), profile
// and level, structure type 0, and six bytes of zeros.
std::vector<std::uint8_t> UserData(UINT32 profile_level,
                                   const std::vector<std::uint8_t>& specific_config) {
    std::vector<std::uint8_t> data(12);
    data[2] = static_cast<std::uint8_t>(profile_level);
    data[3] = static_cast<std::uint8_t>(profile_level >> 8);
    data.insert(data.end(), specific_config.begin(), specific_config.end());
    return data;
}

}  // namespace

HRESULT STDMETHODCALLTYPE AacEncoderTransform::GetOutputStreamInfo(DWORD stream,
                                                                   MFT_OUTPUT_STREAM_INFO* info) {
    if (!info) return E_POINTER;
    *info = {};
    if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
    info->dwFlags = MFT_OUTPUT_STREAM_WHOLE_SAMPLES;
    info->cbSize = most_bytes_per_channel * input_.channels;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE AacEncoderTransform::SetInputType(DWORD stream, IMFMediaType* type,
                                                            DWORD) {
    if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
    input_type_.Reset();
    output_type_.Reset();
    encoder_.reset();
    if (!type) return S_OK;
    AudioFormat format;
    if (!ReadFormat(type, MFAudioFormat_PCM, format)) return MF_E_INVALIDMEDIATYPE;
    const bool known_channels =
        format.channels == 1 || format.channels == 2 || format.channels == 6;
    if (format.bits != 16 || !known_channels || format.rate == 0) return MF_E_INVALIDMEDIATYPE;
    input_ = {format.rate, format.channels, format.bits, false};
    input_type_ = ComPtr<IMFMediaType>(type);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE AacEncoderTransform::SetOutputType(DWORD stream, IMFMediaType* type,
                                                             DWORD) try {
    if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
    output_type_.Reset();
    encoder_.reset();
    if (!type) return S_OK;
    if (!input_type_) return MF_E_TRANSFORM_TYPE_NOT_SET;
    AudioFormat format;
    UINT32 bytes_per_second = 0;
    if (!ReadFormat(type, MFAudioFormat_AAC, format) ||
        FAILED(type->GetUINT32(MF_MT_AUDIO_AVG_BYTES_PER_SECOND, &bytes_per_second)) ||
        format.rate != input_.rate || format.channels != input_.channels || bytes_per_second == 0) {
        return MF_E_INVALIDMEDIATYPE;
    }
    HRESULT hr =
        AudioEncoder::Open(input_, {format.rate, format.channels, bytes_per_second}, encoder_);
    if (FAILED(hr)) return hr;
    constexpr UINT32 low_complexity = 41;
    const auto user_data = UserData(
        MFGetAttributeUINT32(type, MF_MT_AAC_AUDIO_PROFILE_LEVEL_INDICATION, low_complexity),
        encoder_->Configuration());
    hr = type->SetBlob(MF_MT_USER_DATA, user_data.data(), static_cast<UINT32>(user_data.size()));
    if (SUCCEEDED(hr)) output_type_ = ComPtr<IMFMediaType>(type);
    return hr;
} catch (const std::bad_alloc&) {
    encoder_.reset();
    return E_OUTOFMEMORY;
}

HRESULT STDMETHODCALLTYPE AacEncoderTransform::ProcessMessage(MFT_MESSAGE_TYPE message, ULONG_PTR) {
    if (message == MFT_MESSAGE_COMMAND_FLUSH) frames_.clear();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE AacEncoderTransform::ProcessInput(DWORD stream, IMFSample* sample,
                                                            DWORD) try {
    if (!sample) return E_POINTER;
    if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
    if (!encoder_) return MF_E_TRANSFORM_TYPE_NOT_SET;
    if (!frames_.empty()) return MF_E_NOTACCEPTING;
    const LockedSample block(sample);
    if (FAILED(block.Result())) return block.Result();
    return encoder_->Encode(block.Data(), block.Length() / encoder_->FrameBytes(),
                            [this](const AVPacket& packet) {
                                frames_.emplace_back(packet.data, packet.data + packet.size);
                                return S_OK;
                            });
} catch (const std::bad_alloc&) {
    // A block that fails leaves no frames, so that the next one is accepted.
    frames_.clear();
    return E_OUTOFMEMORY;
}

HRESULT STDMETHODCALLTYPE AacEncoderTransform::ProcessOutput(DWORD, DWORD count,
                                                             MFT_OUTPUT_DATA_BUFFER* samples,
                                                             DWORD* status) {
    if (!samples || !status || !samples->pSample) return E_POINTER;
    if (count != 1 || samples->dwStreamID != 0) return E_INVALIDARG;
    if (frames_.empty()) return MF_E_TRANSFORM_NEED_MORE_INPUT;
    LockedSample target(samples->pSample);
    if (FAILED(target.Result())) return target.Result();
    const std::vector<std::uint8_t>& frame = frames_.front();
    if (target.Capacity() < frame.size()) return MF_E_BUFFERTOOSMALL;
    std::memcpy(target.Data(), frame.data(), frame.size());
    const HRESULT hr = target.SetLength(static_cast<DWORD>(frame.size()));
    frames_.pop_front();
    return hr;
}

HRESULT CreateAacEncoder(REFIID iid, void** object) {
    return CreateCom<AacEncoderTransform>(iid, object);
}

}  // namespace Vimbrel

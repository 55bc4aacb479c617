#include "rtmpencoder/live_encoder_aac.h"

#include <mfapi.h>
#include <mferror.h>
#include <objbase.h>
#include <wmcodecdsp.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/Failure.h"
#include "base/MediaSample.h"
#include "base/ObjectCreation.h"

namespace Vimbrel {
namespace {

// An encoder's description of its AAC begins with the head of a structure of its own, before the
// AudioSpecificConfig.
constexpr std::size_t user_data_head = 12;
constexpr std::uint32_t buffered_seconds = 2;

std::size_t SizeWithoutExtra() { return offsetof(WAVEFORMATEX, cbSize); }

HRESULT SetAudioType(IMFMediaType* type, const GUID& subtype, const WAVEFORMATEX& format) {
    HRESULT hr = type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Audio);
    if (SUCCEEDED(hr)) hr = type->SetGUID(MF_MT_SUBTYPE, subtype);
    if (SUCCEEDED(hr)) hr = type->SetUINT32(MF_MT_AUDIO_BITS_PER_SAMPLE, format.wBitsPerSample);
    if (SUCCEEDED(hr)) hr = type->SetUINT32(MF_MT_AUDIO_SAMPLES_PER_SECOND, format.nSamplesPerSec);
    if (SUCCEEDED(hr)) hr = type->SetUINT32(MF_MT_AUDIO_NUM_CHANNELS, format.nChannels);
    return hr;
}

std::vector<std::uint8_t> ReadSpecificConfig(IMFMediaType* type) {
    UINT32 size = 0;
    if (FAILED(type->GetBlobSize(MF_MT_USER_DATA, &size)) || size <= user_data_head) return {};
    std::vector<std::uint8_t> user_data(size);
    if (FAILED(type->GetBlob(MF_MT_USER_DATA, user_data.data(), size, nullptr))) return {};
    return {user_data.begin() + user_data_head, user_data.end()};
}

}  // namespace

live_encoder_aac::live_encoder_aac() {
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = 2;
    format.nSamplesPerSec = 44100;
    format.nAvgBytesPerSec = 176400;
    format.nBlockAlign = 4;
    format.wBitsPerSample = 16;
    input_format = format;
}

live_encoder_aac::~live_encoder_aac() = default;

bool live_encoder_aac::on_start() {
    time_scale = format.nSamplesPerSec;
    time_step = 1;
    if (FAILED(create_encoder()) || FAILED(create_buffers())) return false;
    for (const auto message : {MFT_MESSAGE_COMMAND_FLUSH, MFT_MESSAGE_NOTIFY_BEGIN_STREAMING,
                               MFT_MESSAGE_NOTIFY_START_OF_STREAM}) {
        if (FAILED(encoder->ProcessMessage(message, 0))) return false;
    }
    return true;
}

HRESULT live_encoder_aac::create_encoder() {
    ComPtr<IMFMediaType> input_type;
    ComPtr<IMFMediaType> output_type;
    HRESULT hr = MFCreateMediaType(input_type.Put());
    if (SUCCEEDED(hr)) hr = SetAudioType(input_type.Get(), MFAudioFormat_PCM, format);
    if (SUCCEEDED(hr)) hr = MFCreateMediaType(output_type.Put());
    if (SUCCEEDED(hr)) hr = SetAudioType(output_type.Get(), MFAudioFormat_AAC, format);
    if (SUCCEEDED(hr))
        hr = output_type->SetUINT32(MF_MT_AUDIO_AVG_BYTES_PER_SECOND, bytes_per_second);
    if (SUCCEEDED(hr))
        hr = output_type->SetUINT32(MF_MT_AAC_AUDIO_PROFILE_LEVEL_INDICATION, profile_level);
    if (FAILED(hr)) return hr;

    hr = CreateObject(CLSID_AACMFTEncoder, encoder);
    if (FAILED(LogIfFailed(hr, "Live - Create audio encoder"))) return hr;
    hr = encoder->SetInputType(0, input_type.Get(), 0);
    if (FAILED(LogIfFailed(hr, "Live - SetInputType for audio encoder"))) return hr;
    hr = encoder->SetOutputType(0, output_type.Get(), 0);
    if (FAILED(LogIfFailed(hr, "Live - SetOutputType for audio encoder"))) return hr;
    audio_specific_config = ReadSpecificConfig(output_type.Get());
    return hr;
}

HRESULT live_encoder_aac::create_buffers() {
    MFT_OUTPUT_STREAM_INFO info{};
    HRESULT hr = encoder->GetOutputStreamInfo(0, &info);
    if (FAILED(hr)) return hr;
    const DWORD buffered = buffered_seconds * format.nAvgBytesPerSec;
    const DWORD output_bytes = info.cbSize != 0 ? info.cbSize : buffered;
    const DWORD alignment = info.cbAlignment < 2 ? 0 : info.cbAlignment - 1;
    ComPtr<IMFMediaBuffer> output_buffer;
    hr = MFCreateSample(output_sample.Put());
    if (SUCCEEDED(hr))
        hr = MFCreateAlignedMemoryBuffer(output_bytes, alignment, output_buffer.Put());
    if (SUCCEEDED(hr)) hr = output_sample->AddBuffer(output_buffer.Get());
    // Kept: without an output sample the encoder starts, so that the picture goes on without sound.
    if (FAILED(hr)) return S_OK;

    scratch_size = buffered;
    scratch = std::make_unique<std::uint8_t[]>(scratch_size);
    return MakeMemorySample(buffered, input_sample, input_buffer);
}

bool live_encoder_aac::on_packet(packet* input) {
    if (input->type == packet::type_audio_changing) {
        change_format(static_cast<packet_audio_changing&>(*input));
        return true;
    }
    if (input->type == packet::type_audio) return encode(static_cast<const packet_audio&>(*input));
    return true;
}

void live_encoder_aac::change_format(packet_audio_changing& change) {
    input_format = change.format;
    input_extra = std::move(change.extra);
    const bool same = std::memcmp(&format, &change.format, SizeWithoutExtra()) == 0 &&
                      format.cbSize == change.format.cbSize;
    format_differs = !(same && change.format.cbSize == 0);
}

HRESULT live_encoder_aac::fill_input(const packet_audio& block) {
    if (!input_buffer) return E_FAIL;
    BYTE* bytes = nullptr;
    DWORD capacity = 0;
    HRESULT hr = input_buffer->Lock(&bytes, &capacity, nullptr);
    if (FAILED(hr)) return hr;
    const DWORD count = std::min(capacity, static_cast<DWORD>(std::max(block.size, 0)));
    if ((block.flags & packet_audio::flag_silence) != 0) {
        std::memset(bytes, 0, count);
    } else {
        std::memcpy(bytes, block.data.get(), count);
    }
    input_buffer->Unlock();
    return input_buffer->SetCurrentLength(count);
}

bool live_encoder_aac::encode(const packet_audio& block) {
    if (FAILED(fill_input(block))) return false;
    const int samples = block.size / format.nChannels / (format.wBitsPerSample / 8);
    // Kept: neither this duration nor the time below is the block's, because encoders were tuned
    // with them. Nothing that leaves the encoder depends on them.
    const float units = static_cast<float>(format.nSamplesPerSec) /
                        static_cast<float>(format.nChannels) / static_cast<float>(samples) * 10000;
    const auto duration = samples > 0 ? static_cast<std::int64_t>(units) : 0;
    if (FAILED(input_sample->SetSampleTime(static_cast<std::int64_t>(block_counter / 100))))
        return false;
    if (FAILED(input_sample->SetSampleDuration(duration))) return false;
    const HRESULT hr = encoder->ProcessInput(0, input_sample.Get(), 0);
    if (SUCCEEDED(hr) || hr == MF_E_NOTACCEPTING) block_counter += time_step;
    if (FAILED(hr)) return false;

    std::uint32_t total = 0;
    // A block that fills no AAC frame is no failure.
    std::vector<std::int32_t> sizes;
    if (!collect_output(total, sizes)) return true;
    encoded_frame_ptr frame = make_encoded_frame(encoded_frame::type_aac, scratch.get(),
                                                 static_cast<std::int32_t>(total));
    if (frame) frame->aac_frame_sizes = std::move(sizes);
    auto* const receiver = dispatcher.load();
    if (frame && receiver != nullptr) receiver->dispatch(frame);
    return true;
}

// Collects all frames that one block yields, one after the other. False if there is none.
bool live_encoder_aac::collect_output(std::uint32_t& total, std::vector<std::int32_t>& sizes) {
    bool any = false;
    MFT_OUTPUT_DATA_BUFFER data{};
    data.pSample = output_sample.Get();
    DWORD status = 0;
    while (SUCCEEDED(encoder->ProcessOutput(0, 1, &data, &status))) {
        any = true;
        ComPtr<IMFMediaBuffer> contiguous;
        BYTE* bytes = nullptr;
        DWORD length = 0;
        if (SUCCEEDED(output_sample->ConvertToContiguousBuffer(contiguous.Put())) &&
            SUCCEEDED(contiguous->Lock(&bytes, nullptr, &length))) {
            if (total + length < scratch_size) {
                std::memcpy(scratch.get() + total, bytes, length);
                sizes.push_back(static_cast<std::int32_t>(length));
            }
            contiguous->Unlock();
            // A frame that finds no room counts as well.
            total = std::min<std::uint32_t>(total + length, scratch_size);
        }
        if (data.pEvents != nullptr) data.pEvents->Release();
        data.pEvents = nullptr;
    }
    return any;
}

void live_encoder_aac::on_stop() {
    if (!encoder) return;
    encoder->ProcessMessage(MFT_MESSAGE_NOTIFY_END_OF_STREAM, 0);
    encoder->ProcessMessage(MFT_MESSAGE_COMMAND_DRAIN, 0);
    output_sample.Reset();
    input_sample.Reset();
    input_buffer.Reset();
    encoder.Reset();
}

}  // namespace Vimbrel

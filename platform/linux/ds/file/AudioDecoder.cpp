#include "platform/linux/ds/file/AudioDecoder.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/ChannelMask.h"
#include "platform/linux/ffmpeg/FfmpegError.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace Vimbrel {

namespace {

constexpr double units = 10'000'000.0;
// Short enough for a pitch filter and a meter to follow, long enough to cost little.
constexpr int frames_per_sample = 2048;
// Stamps that wander by less belong to one run of sound.
constexpr REFERENCE_TIME tolerance = 300'000;
constexpr LONG buffers = 8;
// No frame lasts longer. A file may pretend a rate at which it would, and memory for it would lack.
constexpr std::int64_t longest_frame = 60;  // in seconds
// Of frames, far from an overflow.
constexpr double most_frames = 1e15;

// In the order that the renderers expect. More channels than they take come from files alone.
void SetLayout(AVChannelLayout& layout, int channels) {
    const std::uint32_t mask = ChannelMask(static_cast<unsigned>(channels));
    if (mask == 0 || av_channel_layout_from_mask(&layout, mask) < 0)
        av_channel_layout_default(&layout, channels);
}

}  // namespace

AudioDecoder::AudioDecoder()
    : DecoderFilter(class_audio_decoder, AVMEDIA_TYPE_AUDIO),
      settings_(*this),
      status_(*this, meter_) {}

void* AudioDecoder::FindInterface(REFIID iid) {
    if (iid == iid_audio_decoder_settings) return static_cast<IAudioDecoderSettings*>(&settings_);
    if (iid == iid_audio_decoder_status) return static_cast<IAudioDecoderStatus*>(&status_);
    return DecoderFilter::FindInterface(iid);
}

HRESULT STDMETHODCALLTYPE AudioDecoder::Settings::SetExpandMono(BOOL on) {
    expands_mono_ = on != FALSE;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE AudioDecoder::Status::EnableVolumeStatistics() {
    meter_.Enable(true);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE AudioDecoder::Status::DisableVolumeStatistics() {
    meter_.Enable(false);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE AudioDecoder::Status::GetAverageVolume(WORD channel, float* volume) {
    if (!volume) return E_POINTER;
    return meter_.Average(channel, *volume) ? S_OK : E_FAIL;
}

bool AudioDecoder::IsForMe(const CMediaType& type) const {
    return type.majortype == MEDIATYPE_Audio;
}

void AudioDecoder::Begin() {
    started_ = false;
    next_start_ = 0;
    converter_.reset();
}

std::vector<CMediaType> AudioDecoder::OutputTypes() {
    if (!HasStream()) return {};
    const AVCodecContext& codec = Codec();
    int channels = std::min(codec.ch_layout.nb_channels, LevelMeter::most_channels);
    if (channels == 1 && settings_.ExpandsMono()) channels = 2;
    if (channels < 1 || codec.sample_rate <= 0) return {};
    WAVEFORMATEX format{};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = static_cast<WORD>(channels);
    format.nSamplesPerSec = static_cast<DWORD>(codec.sample_rate);
    format.wBitsPerSample = 16;
    format.nBlockAlign = static_cast<WORD>(channels * 2);
    format.nAvgBytesPerSec = format.nSamplesPerSec * format.nBlockAlign;
    CMediaType type;
    type.majortype = MEDIATYPE_Audio;
    type.subtype = MEDIASUBTYPE_PCM;
    type.bFixedSizeSamples = TRUE;
    type.lSampleSize = format.nBlockAlign;
    type.SetFormat(FORMAT_WaveFormatEx, &format, sizeof format);
    return {type};
}

HRESULT AudioDecoder::CheckOutput(const CMediaType& type) {
    // A connection stands while another stream is chosen.
    if (Output().IsConnected() && Output().ConnectionType() == type) return S_OK;
    for (const CMediaType& each : OutputTypes()) {
        if (each == type) return S_OK;
    }
    return VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT AudioDecoder::DecideBuffers(const CMediaType& type, ALLOCATOR_PROPERTIES& properties) {
    const auto* const format = type.FormatAs<WAVEFORMATEX>(FORMAT_WaveFormatEx);
    if (!format) return VFW_E_INVALIDMEDIATYPE;
    channels_ = format->nChannels;
    rate_ = static_cast<int>(format->nSamplesPerSec);
    properties.cBuffers = std::max(properties.cBuffers, buffers);
    properties.cbBuffer =
        std::max(properties.cbBuffer, static_cast<LONG>(frames_per_sample * format->nBlockAlign));
    return S_OK;
}

REFERENCE_TIME AudioDecoder::Duration(std::int64_t frames) const {
    return std::llround(static_cast<double>(frames) * units / rate_ / Rate());
}

std::int64_t AudioDecoder::Frames(REFERENCE_TIME duration) const {
    const double frames = static_cast<double>(duration) * Rate() * rate_ / units;
    return std::llround(std::clamp(frames, -most_frames, most_frames));
}

HRESULT AudioDecoder::PrepareConversion(const AVFrame& frame) {
    const int channels = frame.ch_layout.nb_channels;
    if (converter_ && source_format_ == frame.format && source_rate_ == frame.sample_rate &&
        source_channels_ == channels)
        return S_OK;
    AVChannelLayout source{};
    AVChannelLayout target{};
    // Files often do not say where their channels belong.
    if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
        SetLayout(source, channels);
    } else {
        av_channel_layout_copy(&source, &frame.ch_layout);
    }
    SetLayout(target, channels_);
    SwrContext* made = nullptr;
    int error = swr_alloc_set_opts2(&made, &target, AV_SAMPLE_FMT_S16, rate_, &source,
                                    static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0,
                                    nullptr);
    converter_.reset(made);
    // One channel goes to both sides at its full level.
    if (error >= 0 && channels == 1 && channels_ == 2) {
        const double both[] = {1.0, 1.0};
        error = swr_set_matrix(made, both, 1);
    }
    if (error >= 0) error = swr_init(made);
    av_channel_layout_uninit(&source);
    av_channel_layout_uninit(&target);
    if (error < 0) {
        converter_.reset();
        return ResultFromFfmpeg(error, "set up the conversion of sound");
    }
    source_format_ = frame.format;
    source_rate_ = frame.sample_rate;
    source_channels_ = channels;
    return S_OK;
}

HRESULT AudioDecoder::Convert(const AVFrame& frame) {
    const HRESULT hr = PrepareConversion(frame);
    if (FAILED(hr)) return hr;
    const int room = swr_get_out_samples(converter_.get(), frame.nb_samples);
    if (room < 0 || room > longest_frame * rate_) return E_OUTOFMEMORY;
    samples_.resize(static_cast<std::size_t>(room) * static_cast<std::size_t>(channels_));
    auto* target = reinterpret_cast<std::uint8_t*>(samples_.data());
    const int converted =
        swr_convert(converter_.get(), &target, room,
                    const_cast<const std::uint8_t**>(frame.extended_data), frame.nb_samples);
    if (converted < 0) return ResultFromFfmpeg(converted, "convert sound");
    frames_ = converted;
    return S_OK;
}

HRESULT AudioDecoder::Deliver(AVFrame& frame) {
    if (channels_ == 0 || rate_ == 0) return VFW_E_NOT_CONNECTED;
    const HRESULT hr = Convert(frame);
    // A frame that cannot be converted is left out, as one that cannot be decoded.
    if (FAILED(hr)) return S_OK;
    REFERENCE_TIME start = next_start_;
    const REFERENCE_TIME stamp = frame.best_effort_timestamp;
    if (stamp != AV_NOPTS_VALUE && (!started_ || std::abs(stamp - next_start_) > tolerance))
        start = stamp;
    started_ = true;
    next_start_ = start + Duration(frames_);
    return Send(start);
}

HRESULT AudioDecoder::Send(REFERENCE_TIME start) {
    std::int64_t first = start < 0 ? std::min(Frames(-start), frames_) : 0;
    std::int64_t end = frames_;
    if (StreamStop() >= 0) end = std::clamp<std::int64_t>(Frames(StreamStop() - start), 0, frames_);
    while (first < end) {
        const auto count = static_cast<int>(std::min<std::int64_t>(end - first, frames_per_sample));
        ComPtr<IMediaSample> sample;
        HRESULT hr = Output().GetDeliveryBuffer(sample.Put());
        if (FAILED(hr)) return hr;
        BYTE* data = nullptr;
        sample->GetPointer(&data);
        const LONG bytes = count * channels_ * 2;
        if (!data || sample->GetSize() < bytes) return VFW_E_BUFFER_OVERFLOW;
        const std::int16_t* const from = samples_.data() + first * channels_;
        std::memcpy(data, from, static_cast<std::size_t>(bytes));
        meter_.Add(from, count, channels_, rate_);
        sample->SetActualDataLength(bytes);
        REFERENCE_TIME begin = start + Duration(first);
        REFERENCE_TIME over = start + Duration(first + count);
        sample->SetTime(&begin, &over);
        sample->SetSyncPoint(TRUE);
        hr = Output().Send(sample.Get());
        if (hr != S_OK) return hr;
        first += count;
    }
    return S_OK;
}

HRESULT CreateAudioDecoder(REFIID iid, void** object) {
    ComPtr<AudioDecoder> decoder;
    decoder.Attach(new AudioDecoder);
    return decoder->QueryInterface(iid, object);
}

}  // namespace Vimbrel

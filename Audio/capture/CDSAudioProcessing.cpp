#include "Audio/capture/CDSAudioProcessing.h"

#include <algorithm>

#include "Audio/CAudioMixer.h"
#include "Audio/RelaxedOrder.h"
#include "com/ComObject.h"
#include "vimbrel/AudioFactory2.h"

namespace Vimbrel {

namespace {

constexpr CLSID processing_class{
    0xCEFE394D, 0x9260, 0x44AD, {0x9F, 0x6C, 0x5D, 0x0C, 0xF1, 0xA7, 0x60, 0x7C}};

constexpr int neutral_pitch = 100;
constexpr int least_pitch = 10;

float Ratio(int percent) { return static_cast<float>(percent) / 100.0F; }

bool MixesMedia() { return CAudioFactory2::GetInstance()->GetMediaMixMode(); }

}  // namespace

CDSAudioProcessing::CDSAudioProcessing() : CTransInPlaceFilter(processing_class, true) {}

CDSAudioProcessing::~CDSAudioProcessing() { RemoveChannel(); }

HRESULT CDSAudioProcessing::CheckInputType(const CMediaType* type) {
    if (!type) return E_POINTER;
    const auto* const wave = type->FormatAs<WAVEFORMATEX>(FORMAT_WaveFormatEx);
    const bool fits = type->majortype == MEDIATYPE_Audio && type->subtype == MEDIASUBTYPE_PCM &&
                      wave && (wave->wBitsPerSample == 8 || wave->wBitsPerSample == 16);
    return fits ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT CDSAudioProcessing::SetMediaType(PIN_DIRECTION direction, const CMediaType* type) {
    if (!type) return E_POINTER;
    if (const auto* const wave = type->FormatAs<WAVEFORMATEX>(FORMAT_WaveFormatEx)) {
        frame_bytes = std::size_t{wave->nChannels} * (wave->wBitsPerSample / 8);
        sound_touch.SetFormat(wave->nSamplesPerSec, wave->nChannels, Ratio(Pitch()));
        const MutexLock guard(channel_mutex);
        format = *wave;
        // The bytes after the structure are not copied. Without them an extensible format would say
        // nothing; only PCM comes here.
        format.cbSize = 0;
        if (format.wFormatTag == WAVE_FORMAT_EXTENSIBLE) format.wFormatTag = WAVE_FORMAT_PCM;
    }
    return CTransInPlaceFilter::SetMediaType(direction, type);
}

HRESULT CDSAudioProcessing::Transform(IMediaSample* sample) {
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    const LONG size = sample->GetActualDataLength();
    if (pitch_changed.exchange(false, std::memory_order_acquire)) {
        pitch.store(pending_pitch.load(relaxed), relaxed);
        sound_touch.SetPitch(Ratio(Pitch()));
    }
    if (Pitch() != neutral_pitch && frame_bytes > 0 && size >= 0) {
        const auto bytes = static_cast<std::size_t>(size);
        sound_touch.Shift(data, bytes, bytes / frame_bytes);
    }
    const MutexLock guard(channel_mutex);
    if (channel && data) {
        REFERENCE_TIME start = 0;
        REFERENCE_TIME stop = 0;
        sample->GetTime(&start, &stop);
        channel->WriteSamples(data, size, start, stop);
    }
    return S_OK;
}

void CDSAudioProcessing::SetPitch(int percent) {
    pending_pitch.store(std::max(percent, least_pitch), relaxed);
    pitch_changed.store(true, std::memory_order_release);
}

void CDSAudioProcessing::SetChannelVolume(int percent) {
    const MutexLock guard(channel_mutex);
    if (channel) channel->volume.store(percent, relaxed);
}

void CDSAudioProcessing::AddChannel() { channel = GetMixer().AddChannel(&format); }

void CDSAudioProcessing::RemoveChannel() {
    const MutexLock guard(channel_mutex);
    if (channel) GetMixer().RemoveChannel(channel);
    channel = nullptr;
}

HRESULT STDMETHODCALLTYPE CDSAudioProcessing::Run(REFERENCE_TIME start) {
    if (MixesMedia()) {
        const MutexLock guard(channel_mutex);
        if (channel) {
            channel->accepting.store(true, relaxed);
        } else {
            AddChannel();
        }
    }
    return CTransInPlaceFilter::Run(start);
}

HRESULT STDMETHODCALLTYPE CDSAudioProcessing::Pause() {
    if (MixesMedia()) {
        const MutexLock guard(channel_mutex);
        if (channel) {
            channel->accepting.store(false, relaxed);
        } else {
            AddChannel();
        }
    }
    return CTransInPlaceFilter::Pause();
}

HRESULT STDMETHODCALLTYPE CDSAudioProcessing::Stop() {
    RemoveChannel();
    return CTransInPlaceFilter::Stop();
}

HRESULT CDSAudioProcessing::EndFlush() {
    {
        const MutexLock guard(channel_mutex);
        if (channel) channel->Reset();
    }
    return CTransInPlaceFilter::EndFlush();
}

HRESULT CreateDSAudioProcessing(CDSAudioProcessing** filter) {
    return CreateCom<CDSAudioProcessing>(filter);
}

}  // namespace Vimbrel

#include "Audio/capture/CAudioRender.h"

namespace Vimbrel {

namespace {

constexpr CLSID sink_class{
    0x52E094E7, 0x4C32, 0x4E30, {0x90, 0xF6, 0x7B, 0x61, 0x0F, 0xB2, 0xCE, 0xCE}};

}  // namespace

CAudioRender::CAudioRender() : CBaseRenderer(sink_class) {}

void CAudioRender::SetRequiredFormat(const WAVEFORMATEX* required) {
    required_format = required ? *required : WAVEFORMATEX{};
}

HRESULT CAudioRender::CheckMediaType(const CMediaType* type) {
    if (!type) return E_POINTER;
    const auto* const wave = type->FormatAs<WAVEFORMATEX>(FORMAT_WaveFormatEx);
    if (type->majortype != MEDIATYPE_Audio || type->subtype != MEDIASUBTYPE_PCM || !wave ||
        (wave->wBitsPerSample != 8 && wave->wBitsPerSample != 16) || wave->cbSize != 0)
        return VFW_E_TYPE_NOT_ACCEPTED;
    const bool fits =
        required_format.nChannels == 0 || (wave->nChannels == required_format.nChannels &&
                                           wave->nSamplesPerSec == required_format.nSamplesPerSec &&
                                           wave->wBitsPerSample == required_format.wBitsPerSample);
    return fits ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT CAudioRender::SetMediaType(const CMediaType* type) { return CheckMediaType(type); }

HRESULT CAudioRender::CompleteConnect(IPin* pin) {
    const CMediaType type = Input().ConnectionType();
    if (const auto* const wave = type.FormatAs<WAVEFORMATEX>(FORMAT_WaveFormatEx)) format = *wave;
    connected = true;
    return CBaseRenderer::CompleteConnect(pin);
}

HRESULT CAudioRender::BreakConnect() {
    connected = false;
    return CBaseRenderer::BreakConnect();
}

HRESULT CAudioRender::DoRenderSample(IMediaSample* sample) {
    if (!sample) return E_POINTER;
    if (!dispatcher) return S_OK;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    sample->GetTime(&start, &stop);
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    const LONG length = sample->GetActualDataLength();
    if (data && length >= 1)
        dispatcher->OnAudioSample(data, length, Input().SegmentStart() + start, stop - start);
    return S_OK;
}

void CreateDSRenderAudio(IDSRenderAudio** out) {
    auto* const sink = new CAudioRender;
    if (out) {
        *out = sink;
    } else {
        sink->Release();
    }
}

}  // namespace Vimbrel

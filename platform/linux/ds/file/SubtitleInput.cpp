#include "platform/linux/ds/file/SubtitleInput.h"

#include <cmath>

#include "filters/BaseFilter.h"
#include "platform/linux/ds/file/SubtitleTrack.h"

namespace Vimbrel {

SubtitleInput::SubtitleInput(CBaseFilter& filter, SubtitleTrack& track)
    : CBaseInputPin(filter, L"Subtitle"), track_(track) {}

HRESULT SubtitleInput::CheckMediaType(const CMediaType* type) {
    return type->majortype == media_type_subtitle ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT SubtitleInput::OpenTrack() {
    const ComPtr<IPin> peer = Peer();
    const auto stream = peer.As<ICodecStream>();
    if (!stream) return VFW_E_TYPE_NOT_ACCEPTED;
    track_.Open(stream->Describe());
    return S_OK;
}

HRESULT SubtitleInput::CompleteConnect(IPin* pin) {
    const HRESULT hr = CBaseInputPin::CompleteConnect(pin);
    return SUCCEEDED(hr) ? OpenTrack() : hr;
}

HRESULT SubtitleInput::SetMediaType(const CMediaType* type) {
    const HRESULT hr = CBaseInputPin::SetMediaType(type);
    return SUCCEEDED(hr) && Filter().State() != State_Stopped ? OpenTrack() : hr;
}

void SubtitleInput::BreakConnect() {
    CBaseInputPin::BreakConnect();
    track_.Close();
}

HRESULT SubtitleInput::Active() {
    track_.Clear();
    return CBaseInputPin::Active();
}

HRESULT STDMETHODCALLTYPE SubtitleInput::EndFlush() {
    track_.Clear();
    return CBaseInputPin::EndFlush();
}

HRESULT STDMETHODCALLTYPE SubtitleInput::Receive(IMediaSample* sample) {
    const HRESULT hr = CBaseInputPin::Receive(sample);
    if (hr != S_OK) return hr;
    void* found = nullptr;
    if (FAILED(sample->QueryInterface(__uuidof(IPacketSample), &found))) return S_OK;
    ComPtr<IPacketSample> holder;
    holder.Attach(static_cast<IPacketSample*>(found));
    const AVPacket& packet = *holder->Packet();
    if (packet.pts == AV_NOPTS_VALUE) return S_OK;
    const auto media = [&](std::int64_t time) {
        return std::llround(static_cast<double>(time) * SegmentRate());
    };
    track_.Add(packet, SegmentStart() + media(packet.pts), media(packet.duration));
    return S_OK;
}

}  // namespace Vimbrel

#include "platform/linux/mf/session/TranscodeTopology.h"

#include <mfapi.h>

#include <atomic>
#include <new>
#include <optional>

#include "platform/linux/kernel/NativePath.h"
#include "platform/linux/mf/session/TranscodeFormats.h"

namespace Vimbrel {

namespace {

TOPOID NextId() {
    static std::atomic<TOPOID> last{0};
    return ++last;
}

struct Formats {
    std::optional<VideoInput> video_input;
    VideoOutput video_output;
    std::optional<AudioInput> audio_input;
    AudioOutput audio_output;
};

template <class Format>
const Format* PointerTo(const std::optional<Format>& format) {
    return format ? &*format : nullptr;
}

// Reads one selected stream. S_FALSE if the profile has nothing for it.
HRESULT ReadStream(IMFStreamDescriptor* descriptor, IMFTranscodeProfile* profile,
                   TranscodeTrack& track, Formats& formats) {
    ComPtr<IMFMediaTypeHandler> handler;
    ComPtr<IMFMediaType> type;
    GUID major{};
    HRESULT hr = descriptor->GetStreamIdentifier(&track.stream);
    if (SUCCEEDED(hr)) hr = descriptor->GetMediaTypeHandler(handler.Put());
    if (SUCCEEDED(hr)) hr = handler->GetCurrentMediaType(type.Put());
    if (SUCCEEDED(hr)) hr = type->GetMajorType(&major);
    if (FAILED(hr)) return RefuseTopology(hr, "a stream of the source has no media type");
    track.video = major == MFMediaType_Video;
    if (!track.video && major != MFMediaType_Audio) {
        return RefuseTopology(MF_E_INVALIDMEDIATYPE,
                              "a stream of the source is neither picture nor sound");
    }
    ComPtr<IMFAttributes> wanted;
    hr = track.video ? profile->GetVideoAttributes(wanted.Put())
                     : profile->GetAudioAttributes(wanted.Put());
    if (FAILED(hr)) return hr;
    if (!wanted) return S_FALSE;
    if (track.video ? formats.video_input.has_value() : formats.audio_input.has_value()) {
        return RefuseTopology(MF_E_TOPO_UNSUPPORTED, "the source has two streams of a kind");
    }
    if (track.video) {
        hr = ReadVideoInput(type.Get(), formats.video_input.emplace());
        return SUCCEEDED(hr)
                   ? ReadVideoOutput(wanted.Get(), *formats.video_input, formats.video_output)
                   : hr;
    }
    hr = ReadAudioInput(type.Get(), formats.audio_input.emplace());
    return SUCCEEDED(hr) ? ReadAudioOutput(wanted.Get(), *formats.audio_input, formats.audio_output)
                         : hr;
}

HRESULT ReadContainer(IMFTranscodeProfile* profile, bool& hardware_allowed) {
    ComPtr<IMFAttributes> container;
    if (const HRESULT hr = profile->GetContainerAttributes(container.Put()); FAILED(hr)) return hr;
    GUID type{};
    if (!container || FAILED(container->GetGUID(MF_TRANSCODE_CONTAINERTYPE, &type))) {
        return RefuseTopology(MF_E_TRANSCODE_NO_CONTAINERTYPE, "the profile names no container");
    }
    if (type != MFTranscodeContainerType_MPEG4) {
        return RefuseTopology(MF_E_TRANSCODE_INVALID_PROFILE,
                              "the profile's container is not MPEG-4");
    }
    hardware_allowed = MFGetAttributeUINT32(container.Get(), MF_TRANSCODE_TOPOLOGYMODE,
                                            MF_TRANSCODE_TOPOLOGYMODE_SOFTWARE_ONLY) ==
                       MF_TRANSCODE_TOPOLOGYMODE_HARDWARE_ALLOWED;
    return S_OK;
}

HRESULT CreateTopology(IMFMediaSource* source, LPCWSTR path, IMFTranscodeProfile* profile,
                       ComPtr<TranscodeTopology>& topology) {
    TranscodeJob job;
    job.source = ComPtr<IMFMediaSource>(source);
    bool hardware_allowed = false;
    HRESULT hr = ReadContainer(profile, hardware_allowed);
    if (FAILED(hr)) return hr;
    hr = source->CreatePresentationDescriptor(job.presentation.Put());
    if (FAILED(hr)) return RefuseTopology(hr, "the source has no presentation");

    DWORD characteristics = 0;
    job.live = SUCCEEDED(source->GetCharacteristics(&characteristics)) &&
               (characteristics & MFMEDIASOURCE_IS_LIVE) != 0;

    Formats formats;
    DWORD count = 0;
    DWORD selected_count = 0;
    hr = job.presentation->GetStreamDescriptorCount(&count);
    for (DWORD i = 0; i < count && SUCCEEDED(hr); ++i) {
        BOOL selected = FALSE;
        ComPtr<IMFStreamDescriptor> descriptor;
        hr = job.presentation->GetStreamDescriptorByIndex(i, &selected, descriptor.Put());
        if (FAILED(hr) || !selected) continue;
        ++selected_count;
        TranscodeTrack track;
        hr = ReadStream(descriptor.Get(), profile, track, formats);
        if (hr == S_OK) job.tracks.push_back(track);
        if (hr == S_FALSE) hr = job.presentation->DeselectStream(i);
    }
    if (FAILED(hr)) return hr;
    if (selected_count == 0)
        return RefuseTopology(MF_E_MEDIA_SOURCE_NO_STREAMS_SELECTED,
                              "no stream of the source is selected");
    if (job.tracks.empty())
        return RefuseTopology(MF_E_TRANSCODE_PROFILE_NO_MATCHING_STREAMS,
                              "the profile has nothing for the streams");

    hr = TranscodePipeline::Create(
        NativePath(path), PointerTo(formats.video_input),
        formats.video_input ? &formats.video_output : nullptr, PointerTo(formats.audio_input),
        formats.audio_input ? &formats.audio_output : nullptr, hardware_allowed, job.pipeline);
    if (FAILED(hr)) return RefuseTopology(hr, "encoders or file");
    topology = MakeCom<TranscodeTopology>(std::move(job));
    return S_OK;
}

}  // namespace

TranscodeTopology::TranscodeTopology(TranscodeJob job) : id_(NextId()), job_(std::move(job)) {}

TranscodeTopology::~TranscodeTopology() {
    if (job_.pipeline) job_.pipeline->Finish();
}

HRESULT STDMETHODCALLTYPE TranscodeTopology::GetTopologyID(TOPOID* id) {
    if (!id) return E_POINTER;
    *id = id_;
    return S_OK;
}

bool TranscodeTopology::TakeJob(TranscodeJob& job) {
    const MutexLock guard(lock_);
    if (!job_.pipeline) return false;
    job = std::move(job_);
    return true;
}

}  // namespace Vimbrel

extern "C" HRESULT WINAPI MFCreateTranscodeTopology(IMFMediaSource* source, LPCWSTR path,
                                                    IMFTranscodeProfile* profile,
                                                    IMFTopology** topology) try {
    if (!source || !path || !profile || !topology) return E_POINTER;
    Vimbrel::ComPtr<Vimbrel::TranscodeTopology> made;
    const HRESULT hr = Vimbrel::CreateTopology(source, path, profile, made);
    *topology = made.Detach();
    return hr;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

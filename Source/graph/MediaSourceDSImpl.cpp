#include "Source/graph/MediaSourceDSImpl.h"

#include "Audio/capture/CDSAudioProcessing.h"
#include "Source/graph/FilterLoader.h"
#include "base/Failure.h"
#include "base/ObjectCreation.h"
#include "filters/GraphWalk.h"
#include "filters/MediaType.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_TRACE;
using HalvorixAppLog::LOG_LEVEL_WARN;

// The major type of subtitles.
constexpr GUID subtitle_type{
    0xE487EB08, 0x6B26, 0x4BE9, {0x9D, 0xD3, 0x99, 0x34, 0x34, 0xD3, 0x13, 0xFD}};

// Replaces `field`; E_NOINTERFACE if the graph does not have the interface.
template <class Interface>
HRESULT Fetch(const ComPtr<IGraphBuilder>& graph, ComPtr<Interface>& field) {
    field.Reset();
    void* found = nullptr;
    const HRESULT hr = graph->QueryInterface(__uuidof(Interface), &found);
    if (SUCCEEDED(hr)) field.Attach(static_cast<Interface*>(found));
    return hr;
}

}  // namespace

MediaSourceDSImpl::MediaSourceDSImpl(GraphBuilder builder)
    : buildGraph(builder),
      splitterPath(PathBesideProgram(L"codec\\LAVFilters-x64\\LAVSplitter.ax")),
      videoDecoderPath(PathBesideProgram(L"codec\\LAVFilters-x64\\LAVVideo.ax")),
      audioDecoderPath(PathBesideProgram(L"codec\\LAVFilters-x64\\LAVAudio.ax")),
      subtitleFilterPath(PathBesideProgram(L"codec\\LAVFilters-x64\\VSFilter.dll")) {}

MediaSourceDSImpl::~MediaSourceDSImpl() {
    // A graph that still runs would call an object that is gone.
    if (mediaControl) mediaControl->Stop();
    ReleaseInterfaces();
}

bool MediaSourceDSImpl::Open(MediaSource* newOwner) {
    window.dispatcher = this;
    window.Create(GetModuleHandleW(nullptr));
    owner = newOwner;
    return buildGraph(*this, *owner);
}

void MediaSourceDSImpl::Close() {
    if (!graph) return;
    if (mediaEvent) mediaEvent->SetNotifyWindow(0, 0, 0);
    window.Destroy();
    if (mediaControl) mediaControl->Stop();
    mediaControl.Reset();
    if (sourceFilter) {
        RemoveDownstream(*graph.Get(), *sourceFilter.Get());
        graph->RemoveFilter(sourceFilter.Get());
        sourceFilter.Reset();
    }
    ReleaseInterfaces();
}

void MediaSourceDSImpl::ReleaseInterfaces() {
    mediaControl.Reset();
    sourceFilter.Reset();
    streamSelect.Reset();
    mediaSeeking.Reset();
    mediaPosition.Reset();
    mediaEvent.Reset();
    videoWindow.Reset();
    videoSinkFilter.Reset();
    videoSink.Reset();
    videoBitrateInfo.Reset();
    audioRenderer.Reset();
    basicAudio.Reset();
    audioBitrateInfo.Reset();
    audioStatus.Reset();
    audioProcessor.Reset();
    graph.Reset();
}

bool MediaSourceDSImpl::Run() {
    return mediaControl && SUCCEEDED(LogIfFailed(mediaControl->Run(), "IMediaControl Run"));
}

bool MediaSourceDSImpl::Pause() {
    return mediaControl && SUCCEEDED(LogIfFailed(mediaControl->Pause(), "IMediaControl Pause"));
}

void MediaSourceDSImpl::Stop() {
    if (mediaControl) LogIfFailed(mediaControl->Stop(), "IMediaControl Stop");
}

bool MediaSourceDSImpl::OpenSource(MediaSource& source) {
    if (!source.impl->Open(&source)) {
        source.impl->Close();
        return false;
    }
    source.SetState(MediaSource::State::Opened);
    return true;
}

bool MediaSourceDSImpl::PlaySource(MediaSource& source) {
    if (!source.impl->Run()) return false;
    source.SetState(MediaSource::State::Playing);
    return true;
}

bool MediaSourceDSImpl::PauseSource(MediaSource& source) {
    if (!source.impl->Pause()) return false;
    source.SetState(MediaSource::State::Paused);
    return true;
}

void MediaSourceDSImpl::StopSource(MediaSource& source) {
    source.impl->Stop();
    source.SetState(MediaSource::State::Stopped);
}

void MediaSourceDSImpl::OnVideoSample(unsigned char* pixels, int width, int height, int stride,
                                      std::int64_t time, std::int64_t duration) {
    MediaSource::MEDIA_INFO& info = owner->mediaInfo;
    if (videoBitrateInfo)
        info.videoBitrate = static_cast<std::int32_t>(videoBitrateInfo->GetCurrentBitRate());
    if (audioBitrateInfo)
        info.audioBitrate = static_cast<std::int32_t>(audioBitrateInfo->GetCurrentBitRate());
    owner->SetVideoSample(pixels, width, height, stride, time, duration);
}

void MediaSourceDSImpl::OnAudioSample(unsigned char* data, int size, std::int64_t start,
                                      std::int64_t duration) {
    if (owner) owner->SetAudioSample(data, size, start, duration);
}

LRESULT MediaSourceDSImpl::OnMessage(unsigned int message, WPARAM, LPARAM lParam, bool* handled) {
    if (message != window.stateMessage) return 0;
    *handled = true;
    if (owner) owner->SetState(static_cast<MediaSource::State>(lParam));
    return 0;
}

LRESULT MediaSourceDSImpl::OnGraphEvent() {
    LONG code = 0;
    LONG_PTR first = 0;
    LONG_PTR second = 0;
    while (mediaEvent && SUCCEEDED(mediaEvent->GetEvent(&code, &first, &second, 0))) {
        mediaEvent->FreeEventParams(code, first, second);
        if (!owner) continue;
        if (code == EC_COMPLETE) PostState(code, MediaSource::State::Ended);
        if (code == EC_DEVICE_LOST) PostState(code, MediaSource::State::Stopped);
        if (code == EC_USERABORT || code == EC_ERRORABORT) {
            PostState(code, MediaSource::State::Stopped);
            break;
        }
    }
    return 0;
}

// Through the window's queue, so that the state never changes inside a call of the graph.
void MediaSourceDSImpl::PostState(LONG event, MediaSource::State state) {
    PostMessageW(window.hwnd, window.stateMessage, static_cast<WPARAM>(event),
                 static_cast<LPARAM>(state));
}

bool MediaSourceDSImpl::CreateGraph() {
    graph.Reset();
    if (FAILED(LogIfFailed(CreateObject(CLSID_FilterGraph, graph), "Create IGraphBuilder")))
        return false;
    return SUCCEEDED(LogIfFailed(Fetch(graph, mediaEvent), "Get IMediaEventEx"));
}

bool MediaSourceDSImpl::AddVideoSink() {
    IDSRenderVideo* made = nullptr;
    CreateDSRenderVideo(&made);
    videoSink.Attach(made);
    videoSink->SetDispatcher(this);
    void* found = nullptr;
    videoSink->QueryInterface(__uuidof(IBaseFilter), &found);
    videoSinkFilter.Attach(static_cast<IBaseFilter*>(found));
    const HRESULT hr = graph->AddFilter(videoSinkFilter.Get(), L"Video Renderer");
    if (SUCCEEDED(LogIfFailed(hr, "Add video renderer"))) return true;
    videoSinkFilter.Reset();
    videoSink.Reset();
    return false;
}

bool MediaSourceDSImpl::FetchControls() {
    if (FAILED(LogIfFailed(Fetch(graph, mediaPosition), "Get IMediaPosition", LOG_LEVEL_WARN)) ||
        FAILED(LogIfFailed(Fetch(graph, videoWindow), "Get IVideoWindow", LOG_LEVEL_WARN)) ||
        FAILED(LogIfFailed(Fetch(graph, mediaControl), "Get IMediaControl", LOG_LEVEL_WARN)))
        return false;
    Fetch(graph, mediaSeeking);
    if (mediaSeeking && rate != 100) mediaSeeking->SetRate(rate / 100.0);
    const HRESULT hr = mediaEvent->SetNotifyWindow(reinterpret_cast<OAHWND>(window.hwnd),
                                                   static_cast<LONG>(window.graphMessage),
                                                   reinterpret_cast<LONG_PTR>(this));
    if (FAILED(hr)) return false;
    // A graph with a window of its own must not show it.
    videoWindow->put_Visible(FALSE);
    videoWindow->put_AutoShow(FALSE);
    videoWindow->put_MessageDrain(0);
    videoWindow->put_Owner(0);
    return true;
}

bool MediaSourceDSImpl::GetMediaInformation() {
    MediaSource::MEDIA_INFO& info = owner->mediaInfo;
    if (mediaPosition) {
        REFTIME seconds = 0;
        mediaPosition->get_Duration(&seconds);
        info.duration = seconds * 1000.0;
    }
    videoStreams.clear();
    audioStreamList.clear();
    info.audioStreams.clear();
    audioStream = -1;
    // Kept: subtitle streams of an earlier open stay, because hosts keep indices into the list.
    streamSelect = sourceFilter ? sourceFilter.As<IAMStreamSelect>() : ComPtr<IAMStreamSelect>();
    if (streamSelect) ReadStreams();
    if (videoSink) {
        info.frameRate = static_cast<double>(videoSink->GetFrameRateNum()) /
                         static_cast<double>(videoSink->GetFrameRateDen());
        info.height = static_cast<std::int32_t>(videoSink->GetHeight());
        info.width = static_cast<std::int32_t>(videoSink->GetWidth());
    }
    return true;
}

void MediaSourceDSImpl::ReadStreams() {
    DWORD count = 0;
    streamSelect->Count(&count);
    for (DWORD i = 0; i < count; ++i) {
        AM_MEDIA_TYPE* type = nullptr;
        LCID locale = 0;
        WCHAR* name = nullptr;
        const auto index = static_cast<LONG>(i);
        if (FAILED(streamSelect->Info(index, &type, nullptr, &locale, nullptr, &name, nullptr,
                                      nullptr)))
            continue;
        const GUID majorType = type ? type->majortype : GUID_NULL;
        AddStream(majorType, {name ? name : L"", index, static_cast<std::int32_t>(locale)}, count);
        DeleteMediaType(type);
        CoTaskMemFree(name);
    }
}

void MediaSourceDSImpl::AddStream(const GUID& majorType, const StreamInfo& stream, DWORD count) {
    const char* kind = nullptr;
    if (majorType == MEDIATYPE_Video) {
        kind = "Video";
        videoStreams.push_back(stream);
    } else if (majorType == MEDIATYPE_Audio) {
        kind = "Audio";
        audioStreamList.push_back(stream);
        owner->mediaInfo.audioStreams.push_back(stream);
        if (audioStream == -1) audioStream = stream.index;
    } else if (majorType == subtitle_type) {
        kind = "Subtitle";
        subtitleStreamList.push_back(stream);
        owner->mediaInfo.subtitleStreams.push_back(stream);
        if (subtitleStream == -1) subtitleStream = stream.index;
    }
    if (!kind) return;
    APPLOG_STREAM(LOG_LEVEL_TRACE, "Stream #[" << stream.index + 1 << "/" << count << "] - " << kind
                                               << ": " << stream.name);
}

}  // namespace Vimbrel

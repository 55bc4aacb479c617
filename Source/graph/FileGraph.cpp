#include "Source/graph/FileGraph.h"

#include "Audio/capture/CDSAudioProcessing.h"
#include "Source/graph/AudioBranch.h"
#include "Source/graph/FilterLoader.h"
#include "base/Failure.h"
#include "base/ObjectCreation.h"
#include "com/ComError.h"
#include "filters/Enumerators.h"
#include "filters/GraphWalk.h"
#include "vimbrel/MediaSourceDS.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_ERROR;
using HalvorixAppLog::LOG_LEVEL_TRACE;
using HalvorixAppLog::LOG_LEVEL_WARN;

// Milliseconds of a network stream: short, because an application waits for Open.
constexpr DWORD network_analysis = 200;

// Builds one graph. What it holds is dropped at the end: the graph keeps the filters.
class FileGraphBuilder {
public:
    FileGraphBuilder(MediaSourceDSImpl& worker, const std::wstring& name, bool with_video)
        : worker_(worker), name_(name), with_video_(with_video) {}

    bool Build();

private:
    using Filter = ComPtr<IBaseFilter>;

    // From the file beside the program, or else the registered one.
    Filter Create(const std::wstring& path, REFCLSID clsid, const char* warning, const char* call);
    void AddSplitterSource();
    HRESULT LoadFile();
    void AddSplitter();
    void AddDecoders();
    bool AddSource();
    bool AddOutputs();
    void AddSubtitleFilter();
    bool RenderPins();
    void FinishSound();
    void FindBitRates();
    void Prune();
    // Removes and releases the filter unless a pin of it is connected. Whether it was removed.
    bool RemoveUnconnected(Filter& filter, const char* message);
    IGraphBuilder& Graph() { return *worker_.graph.Get(); }

    MediaSourceDSImpl& worker_;
    const std::wstring& name_;
    const bool with_video_;
    Filter splitter_source_;
    Filter splitter_;
    Filter video_decoder_;
    Filter audio_decoder_;
};

FileGraphBuilder::Filter FileGraphBuilder::Create(const std::wstring& path, REFCLSID clsid,
                                                  const char* warning, const char* call) {
    Filter filter;
    if (FAILED(LoadFilterFromFile(path, clsid, filter))) {
        APPLOG_STREAM(LOG_LEVEL_WARN, warning);
        LogIfFailed(CreateObject(clsid, filter), call);
    }
    return filter;
}

void FileGraphBuilder::AddSplitterSource() {
    splitter_source_ = Create(worker_.splitterPath, class_splitter_source,
                              "Add internal splitter source failed", "Create splitter source");
    if (!splitter_source_) return;
    const auto settings =
        QueryOutside<ISplitterSettings>(*splitter_source_.Get(), iid_splitter_settings);
    if (settings) {
        settings->GetNetworkStreamAnalysisDuration();
        settings->SetNetworkStreamAnalysisDuration(network_analysis);
    }
    Graph().AddFilter(splitter_source_.Get(), L"LAV Splitter Source");
    const HRESULT hr = LoadFile();
    if (SUCCEEDED(hr)) {
        worker_.sourceFilter = splitter_source_;
        return;
    }
    Graph().RemoveFilter(splitter_source_.Get());
    splitter_source_.Reset();
    APPLOG_FORMAT(LOG_LEVEL_WARN, "Splitter source failed to load file - 0x%08X",
                  static_cast<unsigned>(hr));
}

HRESULT FileGraphBuilder::LoadFile() {
    void* found = nullptr;
    const HRESULT hr = splitter_source_->QueryInterface(__uuidof(IFileSourceFilter), &found);
    if (hr == E_NOINTERFACE) return hr;
    // Kept: hosts that bring a splitter of their own learn so that it is broken.
    if (FAILED(hr)) throw ComError(hr);
    ComPtr<IFileSourceFilter> loader;
    loader.Attach(static_cast<IFileSourceFilter*>(found));
    return loader->Load(name_.c_str(), nullptr);
}

void FileGraphBuilder::AddSplitter() {
    splitter_ = Create(worker_.splitterPath, class_splitter, "Add internal splitter failed",
                       "Create splitter filter");
    if (!splitter_) return;
    Graph().AddFilter(splitter_.Get(), L"LAV Splitter");
    APPLOG_STREAM(LOG_LEVEL_TRACE, "Add the splitter filter");
}

void FileGraphBuilder::AddDecoders() {
    video_decoder_ = CreateVideoDecoder(worker_.videoDecoderPath);
    if (with_video_ && video_decoder_)
        Graph().AddFilter(video_decoder_.Get(), L"LAV Video Decoder");
    audio_decoder_ = Create(worker_.audioDecoderPath, class_audio_decoder,
                            "Add audio decoder failed", "Create audio decoder");
    if (!audio_decoder_) return;
    const auto settings =
        QueryOutside<IAudioDecoderSettings>(*audio_decoder_.Get(), iid_audio_decoder_settings);
    if (settings) {
        settings->SetTrayIcon(IsControlKeyHeld() ? TRUE : FALSE);
        settings->SetExpandMono(TRUE);
    }
    Graph().AddFilter(audio_decoder_.Get(), L"LAV Audio Decoder");
}

bool FileGraphBuilder::AddSource() {
    if (worker_.sourceFilter) return true;
    const HRESULT hr = Graph().AddSourceFilter(name_.c_str(), nullptr, worker_.sourceFilter.Put());
    return SUCCEEDED(LogIfFailed(hr, "AddSourceFilter"));
}

bool FileGraphBuilder::AddOutputs() {
    if (with_video_ && !worker_.AddVideoSink()) return false;
    const bool sound = AddAudioRenderer(worker_);
    if (with_video_ && worker_.autoloadSubtitle) AddSubtitleFilter();
    // Only a source without pictures needs a sound output.
    return with_video_ || sound;
}

void FileGraphBuilder::AddSubtitleFilter() {
    Filter filter;
    // Kept: the registered copy comes before the file, unlike that of the other filters.
    if (FAILED(CreateObject(class_subtitle_filter, filter)))
        LoadFilterFromFile(worker_.subtitleFilterPath, class_subtitle_filter, filter);
    if (!filter || FAILED(Graph().AddFilter(filter.Get(), L"VSFilter")))
        APPLOG_STREAM(LOG_LEVEL_WARN, "Add vsfilter failed!");
}

bool FileGraphBuilder::RenderPins() {
    const auto graph = worker_.graph.As<IFilterGraph2>();
    ComPtr<IEnumPins> pins;
    const HRESULT hr = worker_.sourceFilter->EnumPins(pins.Put());
    if (FAILED(LogIfFailed(hr, "SourceFilter EnumPins"))) return false;
    int rendered = 0;
    ComPtr<IPin> pin;
    while (pins->Next(1, pin.Put(), nullptr) == S_OK) {
        if (IsOutput(*pin.Get()) &&
            SUCCEEDED(graph->RenderEx(pin.Get(), AM_RENDEREX_RENDERTOEXISTINGRENDERERS, nullptr)))
            ++rendered;
    }
    if (rendered > 0) return true;
    APPLOG_STREAM(LOG_LEVEL_ERROR, "No pins could be renderered!");
    return false;
}

bool FileGraphBuilder::RemoveUnconnected(Filter& filter, const char* message) {
    if (!filter || HasConnectedPin(*filter.Get())) return false;
    APPLOG_STREAM(LOG_LEVEL_TRACE, message);
    Graph().RemoveFilter(filter.Get());
    filter.Reset();
    return true;
}

void FileGraphBuilder::FinishSound() {
    if (!worker_.audioRenderer ||
        RemoveUnconnected(worker_.audioRenderer, "Remove audio renderer (not connected)"))
        return;
    if (worker_.processAudio) InsertAudioProcessor(worker_);
    worker_.basicAudio = worker_.audioRenderer.As<IBasicAudio>();
}

void FileGraphBuilder::FindBitRates() {
    Filter filter = splitter_source_;
    if (!filter && !RemoveUnconnected(splitter_, "Remove the splitter (not connected)"))
        filter = splitter_;
    if (!filter) return;
    for (const ComPtr<IPin>& pin : PinsOf(*filter.Get())) {
        if (!IsOutput(*pin.Get())) continue;
        bool pictures = false;
        bool sound = false;
        for (const CMediaType& type : TypesOf(*pin.Get())) {
            pictures = pictures || type.majortype == MEDIATYPE_Video;
            sound = sound || type.majortype == MEDIATYPE_Audio;
        }
        auto rates = QueryOutside<IBitRateInfo>(*pin.Get(), iid_bit_rate_info);
        if (pictures)
            worker_.videoBitrateInfo = rates;
        else if (sound)
            worker_.audioBitrateInfo = rates;
    }
}

void FileGraphBuilder::Prune() {
    if (audio_decoder_ &&
        !RemoveUnconnected(audio_decoder_, "Remove audio decoder (not connected)"))
        worker_.audioStatus =
            QueryOutside<IAudioDecoderStatus>(*audio_decoder_.Get(), iid_audio_decoder_status);
    RemoveUnconnected(video_decoder_, "Remove video decoder (not connected)");
    if (RemoveUnconnected(worker_.videoSinkFilter, "Remove video renderer (not connected)"))
        worker_.videoSink.Reset();
}

bool FileGraphBuilder::Build() {
    if (!worker_.CreateGraph()) return false;
    worker_.sourceFilter.Reset();
    AddSplitterSource();
    if (!splitter_source_) AddSplitter();
    AddDecoders();
    if (!worker_.graph.As<IFilterGraph2>() || !AddSource() || !AddOutputs() || !RenderPins())
        return false;
    FinishSound();
    FindBitRates();
    Prune();
    if (!worker_.FetchControls()) APPLOG_STREAM(LOG_LEVEL_WARN, "GetControls failed!");
    if (!worker_.GetMediaInformation())
        APPLOG_STREAM(LOG_LEVEL_WARN, "GetMediaInformation failed!");
    if (worker_.videoSinkFilter || worker_.audioRenderer) return true;
    APPLOG_STREAM(LOG_LEVEL_ERROR, "No video & audio!");
    return false;
}

}  // namespace

bool BuildFileGraph(MediaSourceDSImpl& worker, MediaSource& owner) {
    const MediaSource::SourceType type = owner.GetSourceType();
    const bool with_video = type == MediaSource::SourceType::Media;
    if (!with_video && type != MediaSource::SourceType::Audio) return false;
    const std::wstring name = static_cast<MediaSourceDS&>(owner).GetFileName();
    if (!FileGraphBuilder(worker, name, with_video).Build()) return false;
    MediaSource::MEDIA_INFO& info = owner.GetMediaInfo();
    info.hasVideo = static_cast<bool>(worker.videoSinkFilter);
    info.hasAudio = static_cast<bool>(worker.audioRenderer);
    info.seekable = static_cast<bool>(worker.mediaPosition);
    return true;
}

}  // namespace Vimbrel

// The worker of a source on a filter graph.
#pragma once

#include <string>
#include <vector>

#include "Source/MediaSourceImpl.h"
#include "com/ComPtr.h"
#include "filters/OutsideInterfaces.h"
#include "vimbrel/DSRenderAudio.h"
#include "vimbrel/DSRenderVideo.h"
#include "vimbrel/MediaMessageWindow.h"
#include "vimbrel/MediaSource.h"

namespace Vimbrel {

class CDSAudioProcessing;

// Builds one graph at a time and runs it. The fields are open to the units that build and control
// the graph: a kind of source brings its own `GraphBuilder`.
//
// Everything but the two samples runs on the thread that opens; the graph's events arrive there as
// messages of the window. Interfaces are released by Close; an open releases what it replaces.
class MediaSourceDSImpl final : public MediaSourceImpl,
                                public IDSRenderVideo::CDispatcher,
                                public IDSRenderAudio::CDispatcher,
                                public MediaMessageWindow::Dispatcher {
public:
    // False for an owner of another kind, and for a graph that cannot be built.
    using GraphBuilder = bool (*)(MediaSourceDSImpl& worker, MediaSource& owner);

    explicit MediaSourceDSImpl(GraphBuilder builder);
    ~MediaSourceDSImpl() override;

    // Kept: a failure before there is a graph leaves the window, beside which the next open
    // creates another, because Close acts only on a graph.
    bool Open(MediaSource* newOwner) override;
    void Close() override;
    bool Run() override;
    bool Pause() override;
    void Stop() override;

    // What the operations of such a source do.
    static bool OpenSource(MediaSource& source);
    static bool PlaySource(MediaSource& source);
    static bool PauseSource(MediaSource& source);
    static void StopSource(MediaSource& source);

    // On the streaming thread.
    void OnVideoSample(unsigned char* pixels, int width, int height, int stride, std::int64_t time,
                       std::int64_t duration) override;
    void OnAudioSample(unsigned char* data, int size, std::int64_t start,
                       std::int64_t duration) override;
    LRESULT OnMessage(unsigned int message, WPARAM wParam, LPARAM lParam, bool* handled) override;
    LRESULT OnGraphEvent() override;

    // For the builders. Each logs its failures.
    bool CreateGraph();
    bool AddVideoSink();
    // The interfaces that control the graph, and its events as messages of the window.
    bool FetchControls();
    // What the source filter and the sink know of the media.
    bool GetMediaInformation();

    const GraphBuilder buildGraph;
    MediaSource* owner = nullptr;  // not owned
    MediaMessageWindow window;
    bool processAudio = true;
    std::int32_t rate = 100;  // percent
    ComPtr<IGraphBuilder> graph;
    ComPtr<IMediaControl> mediaControl;
    ComPtr<IMediaEventEx> mediaEvent;
    ComPtr<IMediaPosition> mediaPosition;
    ComPtr<IMediaSeeking> mediaSeeking;
    ComPtr<IAMStreamSelect> streamSelect;  // of the source filter; null if it has none
    ComPtr<IBaseFilter> sourceFilter;      // device or splitter
    ComPtr<IVideoWindow> videoWindow;
    ComPtr<IBitRateInfo> videoBitrateInfo;  // of the splitter's pins
    ComPtr<IDSRenderVideo> videoSink;
    ComPtr<IBaseFilter> videoSinkFilter;  // the same object
    ComPtr<IBaseFilter> audioRenderer;
    ComPtr<IBasicAudio> basicAudio;
    ComPtr<IBitRateInfo> audioBitrateInfo;
    ComPtr<IAudioDecoderStatus> audioStatus;  // for the meter
    ComPtr<CDSAudioProcessing> audioProcessor;
    const std::wstring splitterPath;
    const std::wstring videoDecoderPath;
    const std::wstring audioDecoderPath;
    const std::wstring subtitleFilterPath;
    std::vector<StreamInfo> videoStreams;
    std::vector<StreamInfo> audioStreamList;
    std::int32_t audioStream = -1;
    std::vector<StreamInfo> subtitleStreamList;
    std::int32_t subtitleStream = -1;
    bool autoloadSubtitle = false;

private:
    void ReadStreams();
    void AddStream(const GUID& majorType, const StreamInfo& stream, DWORD count);
    void PostState(LONG event, MediaSource::State state);
    void ReleaseInterfaces();
};

}  // namespace Vimbrel

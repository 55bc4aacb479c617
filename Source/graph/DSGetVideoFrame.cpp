#include "vimbrel/DSGetVideoFrame.h"

#include <cstdlib>

#include "base/ObjectCreation.h"
#include "base/ThreadSafety.h"
#include "filters/Enumerators.h"
#include "filters/GraphWalk.h"
#include "filters/OutsideInterfaces.h"
#include "vimbrel/DSRenderVideo.h"

namespace Vimbrel {

namespace {

using FrameCallback = std::function<void(unsigned char*, int, int, int, void*)>;

class ThumbnailDispatcher final : public IDSRenderVideo::CDispatcher {
public:
    ThumbnailDispatcher(FrameCallback callback, void* user_data)
        : callback_(std::move(callback)), user_data_(user_data) {}

    void OnVideoSample(unsigned char* pixels, int width, int height, int stride, std::int64_t,
                       std::int64_t) override {
        callback_(pixels, width, std::abs(height), stride, user_data_);
        const MutexLock guard(lock_);
        shown_ = true;
        changed_.NotifyAll();
    }
    void Wait() {
        MutexLock guard(lock_);
        while (!shown_) changed_.Wait(guard);
    }

private:
    const FrameCallback callback_;
    void* const user_data_;
    Mutex lock_;
    Condition changed_;
    bool shown_ GUARDED_BY(lock_) = false;
};

// A throw-away graph.
class FrameGraph {
public:
    ~FrameGraph();

    bool Build(const wchar_t* file, ThumbnailDispatcher& dispatcher);
    bool Run(double seconds);

private:
    // A filter that is not registered is left out.
    bool Add(REFCLSID clsid, const wchar_t* name, ComPtr<IBaseFilter>& filter);
    bool AddSink(ThumbnailDispatcher& dispatcher);
    bool Render();
    void RemoveUnconnected(const ComPtr<IBaseFilter>& filter);

    ComPtr<IFilterGraph2> graph_;
    ComPtr<IMediaPosition> position_;
    ComPtr<IMediaControl> control_;
    ComPtr<IBaseFilter> source_;
    ComPtr<IBaseFilter> decoder_;
    ComPtr<IBaseFilter> splitter_;
    ComPtr<IDSRenderVideo> sink_;
    ComPtr<IBaseFilter> sink_filter_;
};

FrameGraph::~FrameGraph() {
    if (control_) control_->StopWhenReady();
    if (!source_) return;
    RemoveDownstream(*graph_.Get(), *source_.Get());
    graph_->RemoveFilter(source_.Get());
}

bool FrameGraph::Add(REFCLSID clsid, const wchar_t* name, ComPtr<IBaseFilter>& filter) {
    return FAILED(CreateObject(clsid, filter)) || SUCCEEDED(graph_->AddFilter(filter.Get(), name));
}

bool FrameGraph::AddSink(ThumbnailDispatcher& dispatcher) {
    IDSRenderVideo* made = nullptr;
    CreateDSRenderVideo(&made);
    sink_.Attach(made);
    sink_->SetDispatcher(&dispatcher);
    void* found = nullptr;
    if (FAILED(sink_->QueryInterface(__uuidof(IBaseFilter), &found))) return false;
    sink_filter_.Attach(static_cast<IBaseFilter*>(found));
    return SUCCEEDED(graph_->AddFilter(sink_filter_.Get(), L"Video Renderer"));
}

bool FrameGraph::Render() {
    for (const ComPtr<IPin>& pin : PinsOf(*source_.Get())) {
        if (!IsOutput(*pin.Get())) continue;
        // Kept: a pin whose first type is another is passed over, whatever else it offers.
        const std::vector<CMediaType> types = TypesOf(*pin.Get());
        if (types.empty() || types.front().majortype != MEDIATYPE_Video) continue;
        if (SUCCEEDED(graph_->RenderEx(pin.Get(), AM_RENDEREX_RENDERTOEXISTINGRENDERERS, nullptr)))
            return true;
    }
    return false;
}

void FrameGraph::RemoveUnconnected(const ComPtr<IBaseFilter>& filter) {
    if (filter && !HasConnectedPin(*filter.Get())) graph_->RemoveFilter(filter.Get());
}

bool FrameGraph::Build(const wchar_t* file, ThumbnailDispatcher& dispatcher) {
    if (FAILED(CreateObject(CLSID_FilterGraph, graph_)) ||
        FAILED(graph_->AddSourceFilter(file, nullptr, source_.Put())))
        return false;
    position_ = graph_.As<IMediaPosition>();
    control_ = graph_.As<IMediaControl>();
    if (!position_ || !control_ || !Add(class_video_decoder, L"LAV Video Decoder", decoder_) ||
        !Add(class_splitter, L"LAV Splitter", splitter_) || !AddSink(dispatcher) || !Render())
        return false;
    RemoveUnconnected(splitter_);
    RemoveUnconnected(decoder_);
    return true;
}

bool FrameGraph::Run(double seconds) {
    REFTIME duration = 0;
    position_->get_Duration(&duration);
    position_->put_CurrentPosition(seconds > duration ? duration / 2 : seconds);
    return SUCCEEDED(control_->Run());
}

}  // namespace

void DSGetVideoFrame(const wchar_t* fileName, double seconds, void* userData,
                     FrameCallback callback) {
    ThumbnailDispatcher dispatcher(std::move(callback), userData);
    FrameGraph graph;
    if (graph.Build(fileName, dispatcher) && graph.Run(seconds)) dispatcher.Wait();
}

}  // namespace Vimbrel

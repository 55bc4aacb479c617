#include "platform/linux/ds/graph/FilterGraph.h"

#include <algorithm>
#include <new>

#include "base/ObjectCreation.h"
#include "filters/Enumerators.h"
#include "filters/GraphWalk.h"
#include "platform/linux/ds/graph/GraphConnector.h"

namespace Vimbrel {

namespace {

// The source of media files.
constexpr GUID source_class{
    0xB98D13E7, 0x55DB, 0x4385, {0xA3, 0x3D, 0x09, 0xFD, 0x1B, 0xA2, 0x63, 0x38}};

void DisconnectPins(IBaseFilter& filter) {
    for (const ComPtr<IPin>& pin : PinsOf(filter)) {
        const ComPtr<IPin> peer = PeerOf(*pin.Get());
        if (!peer) continue;
        peer->Disconnect();
        pin->Disconnect();
    }
}

}  // namespace

struct FilterGraph::Reconnection {
    ComPtr<IPin> pin;
    bool typed;
    CMediaType type;
};

// Marks the thread while it lives.
class FilterGraph::Connecting {
public:
    explicit Connecting(FilterGraph& graph) : graph_(graph) {
        graph_.connecting_ = std::this_thread::get_id();
    }
    ~Connecting() { graph_.connecting_ = std::thread::id(); }
    Connecting(const Connecting&) = delete;
    Connecting& operator=(const Connecting&) = delete;

private:
    FilterGraph& graph_;
};

FilterGraph::FilterGraph()
    : control_(*this, parts_),
      media_filter_(*this, parts_),
      video_window_(*this),
      seeking_(*this, parts_),
      position_(*this, seeking_),
      events_(*this, parts_.events),
      event_sink_(*this, parts_.events) {}

FilterGraph::~FilterGraph() {
    // A filter may ask the graph for an interface on its way out.
    references_ = 1;
    const MutexLock guard(parts_.control);
    StopGraph(parts_);
    for (const GraphParts::Entry& entry : parts_.filters) DisconnectPins(*entry.filter.Get());
    for (const GraphParts::Entry& entry : parts_.filters) {
        entry.filter->SetSyncSource(nullptr);
        entry.filter->JoinFilterGraph(nullptr, nullptr);
    }
}

HRESULT STDMETHODCALLTYPE FilterGraph::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (iid == __uuidof(IUnknown) || iid == __uuidof(IFilterGraph) ||
        iid == __uuidof(IGraphBuilder) || iid == __uuidof(IFilterGraph2))
        *object = static_cast<IFilterGraph2*>(this);
    else if (iid == __uuidof(IMediaControl))
        *object = static_cast<IMediaControl*>(&control_);
    else if (iid == __uuidof(IMediaFilter) || iid == __uuidof(IPersist))
        *object = static_cast<IMediaFilter*>(&media_filter_);
    else if (iid == __uuidof(IVideoWindow))
        *object = static_cast<IVideoWindow*>(&video_window_);
    else if (iid == __uuidof(IMediaSeeking))
        *object = static_cast<IMediaSeeking*>(&seeking_);
    else if (iid == __uuidof(IMediaPosition))
        *object = static_cast<IMediaPosition*>(&position_);
    else if (iid == __uuidof(IMediaEvent) || iid == __uuidof(IMediaEventEx))
        *object = static_cast<IMediaEventEx*>(&events_);
    else if (iid == __uuidof(IMediaEventSink))
        *object = static_cast<IMediaEventSink*>(&event_sink_);
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

ULONG STDMETHODCALLTYPE FilterGraph::AddRef() {
    return references_.fetch_add(1, std::memory_order_relaxed) + 1;
}

ULONG STDMETHODCALLTYPE FilterGraph::Release() {
    const ULONG left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
}

std::vector<ComPtr<IBaseFilter>> FilterGraph::AllFilters() {
    std::vector<ComPtr<IBaseFilter>> filters;
    for (const GraphParts::Entry& entry : parts_.filters) filters.push_back(entry.filter);
    return filters;
}

bool FilterGraph::HasFilterOf(IPin& pin) {
    const ComPtr<IBaseFilter> filter = FilterOf(pin);
    return filter && Has(*filter.Get());
}

bool FilterGraph::Has(IBaseFilter& filter) {
    return std::any_of(parts_.filters.begin(), parts_.filters.end(),
                       [&](const auto& entry) { return entry.filter.Get() == &filter; });
}

bool FilterGraph::HasName(const std::wstring& name) {
    return std::any_of(parts_.filters.begin(), parts_.filters.end(),
                       [&](const auto& entry) { return entry.name == name; });
}

HRESULT STDMETHODCALLTYPE FilterGraph::AddFilter(IBaseFilter* filter, LPCWSTR name) {
    if (!filter) return E_POINTER;
    const MutexLock guard(parts_.control);
    if (Has(*filter)) return E_FAIL;
    std::wstring chosen = name ? name : L"";
    const bool duplicate = name && HasName(chosen);
    if (!name || duplicate) {
        const std::wstring start = name ? chosen + L" " : L"";
        for (int number = 1; number == 1 || HasName(chosen); ++number)
            chosen = start + std::to_wstring(number);
    }
    const HRESULT hr = filter->JoinFilterGraph(this, chosen.c_str());
    if (FAILED(hr)) return hr;
    filter->SetSyncSource(parts_.clock.Get());
    parts_.filters.push_back({ComPtr<IBaseFilter>(filter), chosen});
    return duplicate ? VFW_S_DUPLICATE_NAME : hr;
}

HRESULT STDMETHODCALLTYPE FilterGraph::RemoveFilter(IBaseFilter* filter) {
    if (!filter) return E_POINTER;
    const MutexLock guard(parts_.control);
    if (!Has(*filter)) return VFW_E_NOT_IN_GRAPH;
    // Its neighbours could not be disconnected.
    if (parts_.state != State_Stopped && HasConnectedPin(*filter)) return VFW_E_NOT_STOPPED;
    filter->Stop();
    DisconnectPins(*filter);
    filter->SetSyncSource(nullptr);
    filter->JoinFilterGraph(nullptr, nullptr);
    std::erase_if(parts_.filters, [&](const auto& entry) { return entry.filter.Get() == filter; });
    return S_OK;
}

HRESULT STDMETHODCALLTYPE FilterGraph::EnumFilters(IEnumFilters** enumerator) {
    if (!enumerator) return E_POINTER;
    const MutexLock guard(parts_.control);
    *enumerator = MakeCom<FilterEnumerator>(AllFilters()).Detach();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE FilterGraph::FindFilterByName(LPCWSTR name, IBaseFilter** filter) {
    if (!name || !filter) return E_POINTER;
    *filter = nullptr;
    const MutexLock guard(parts_.control);
    for (const GraphParts::Entry& entry : parts_.filters) {
        if (entry.name == name) return entry.filter.CopyTo(filter);
    }
    return VFW_E_NOT_FOUND;
}

template <class Call>
HRESULT FilterGraph::WhileConnecting(Call call) {
    HRESULT hr;
    {
        const Connecting connecting(*this);
        hr = call();
    }
    ReconnectPending();
    return hr;
}

HRESULT STDMETHODCALLTYPE FilterGraph::ConnectDirect(IPin* output, IPin* input,
                                                     const AM_MEDIA_TYPE* type) {
    if (!output || !input) return E_POINTER;
    const MutexLock guard(parts_.control);
    if (!HasFilterOf(*output) || !HasFilterOf(*input)) return VFW_E_NOT_IN_GRAPH;
    return WhileConnecting([&] { return output->Connect(input, type); });
}

HRESULT STDMETHODCALLTYPE FilterGraph::Connect(IPin* output, IPin* input) {
    if (!output || !input) return E_POINTER;
    const MutexLock guard(parts_.control);
    if (!HasFilterOf(*output) || !HasFilterOf(*input)) return VFW_E_NOT_IN_GRAPH;
    GraphConnector connector(AllFilters());
    return WhileConnecting([&] { return connector.Connect(*output, *input); });
}

HRESULT STDMETHODCALLTYPE FilterGraph::Render(IPin* output) {
    if (!output) return E_POINTER;
    const MutexLock guard(parts_.control);
    if (!HasFilterOf(*output)) return VFW_E_NOT_IN_GRAPH;
    GraphConnector connector(AllFilters());
    return WhileConnecting([&] { return connector.Render(*output); });
}

HRESULT STDMETHODCALLTYPE FilterGraph::RenderEx(IPin* output, DWORD flags, DWORD*) {
    return (flags & ~AM_RENDEREX_RENDERTOEXISTINGRENDERERS) == 0 ? Render(output) : E_INVALIDARG;
}

HRESULT STDMETHODCALLTYPE FilterGraph::Reconnect(IPin* pin) { return ReconnectEx(pin, nullptr); }

HRESULT STDMETHODCALLTYPE FilterGraph::ReconnectEx(IPin* pin, const AM_MEDIA_TYPE* type) {
    if (!pin) return E_POINTER;
    if (connecting_.load() == std::this_thread::get_id()) {
        pending_.push_back(
            {ComPtr<IPin>(pin), type != nullptr, type ? CMediaType(*type) : CMediaType()});
        return S_OK;
    }
    const MutexLock guard(parts_.control);
    const HRESULT hr = ReconnectNow(*pin, type);
    ReconnectPending();
    return hr;
}

HRESULT FilterGraph::ReconnectNow(IPin& pin, const AM_MEDIA_TYPE* type) {
    const ComPtr<IPin> peer = PeerOf(pin);
    if (!peer) return VFW_E_NOT_CONNECTED;
    const bool is_output = IsOutput(pin);
    IPin* const output = is_output ? &pin : peer.Get();
    IPin* const input = is_output ? peer.Get() : &pin;
    CMediaType before;
    output->ConnectionMediaType(&before);
    HRESULT hr = input->Disconnect();
    if (SUCCEEDED(hr)) hr = output->Disconnect();
    if (FAILED(hr)) return hr;
    const Connecting connecting(*this);
    hr = output->Connect(input, type);
    // The connection that was there is better than none.
    if (FAILED(hr)) output->Connect(input, &before);
    return hr;
}

void FilterGraph::ReconnectPending() {
    // A reconnection may ask for another. Two pins that never agree end here.
    for (int rounds = 0; rounds < 16 && !pending_.empty(); ++rounds) {
        const Reconnection next = pending_.front();
        pending_.erase(pending_.begin());
        ReconnectNow(*next.pin.Get(), next.typed ? &next.type : nullptr);
    }
    pending_.clear();
}

HRESULT STDMETHODCALLTYPE FilterGraph::Disconnect(IPin* pin) {
    if (!pin) return E_POINTER;
    const MutexLock guard(parts_.control);
    return pin->Disconnect();
}

HRESULT STDMETHODCALLTYPE FilterGraph::SetDefaultSyncSource() {
    const MutexLock guard(parts_.control);
    return SetDefaultClock(parts_);
}

HRESULT STDMETHODCALLTYPE FilterGraph::AddSourceFilter(LPCWSTR file, LPCWSTR name,
                                                       IBaseFilter** filter) {
    if (!file || !filter) return E_POINTER;
    *filter = nullptr;
    ComPtr<IBaseFilter> source;
    HRESULT hr = CreateObject(source_class, source);
    if (FAILED(hr)) return hr;
    const auto loader = source.As<IFileSourceFilter>();
    hr = loader ? loader->Load(file, nullptr) : E_NOINTERFACE;
    if (SUCCEEDED(hr)) hr = AddFilter(source.Get(), name);
    return SUCCEEDED(hr) ? source.CopyTo(filter) : hr;
}

HRESULT CreateFilterGraph(REFIID iid, void** object) {
    auto* const graph = new (std::nothrow) FilterGraph;
    if (!graph) return E_OUTOFMEMORY;
    const HRESULT hr = graph->QueryInterface(iid, object);
    graph->Release();
    return hr;
}

}  // namespace Vimbrel

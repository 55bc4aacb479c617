// A graph of filters in the process.
#pragma once

#include <atomic>
#include <thread>

#include "platform/linux/ds/graph/GraphControl.h"
#include "platform/linux/ds/graph/GraphSeeking.h"
#include "platform/linux/ds/graph/GraphStates.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Counts its filters; they do not count it. Its end stops them and breaks their connections. Any
// thread, one control operation at a time; a streaming thread may only notify and read positions.
class FilterGraph final : public IFilterGraph2 {
public:
    FilterGraph();
    FilterGraph(const FilterGraph&) = delete;
    FilterGraph& operator=(const FilterGraph&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // A null name is replaced by a number, one in use by another, with VFW_S_DUPLICATE_NAME.
    HRESULT STDMETHODCALLTYPE AddFilter(IBaseFilter* filter, LPCWSTR name) override;
    // Stops and disconnects the filter. VFW_E_NOT_STOPPED while the graph runs and the filter is
    // connected.
    HRESULT STDMETHODCALLTYPE RemoveFilter(IBaseFilter* filter) override;
    HRESULT STDMETHODCALLTYPE EnumFilters(IEnumFilters** enumerator) override;
    HRESULT STDMETHODCALLTYPE FindFilterByName(LPCWSTR name, IBaseFilter** filter) override;
    HRESULT STDMETHODCALLTYPE ConnectDirect(IPin* output, IPin* input,
                                            const AM_MEDIA_TYPE* type) override;
    HRESULT STDMETHODCALLTYPE Reconnect(IPin* pin) override;
    HRESULT STDMETHODCALLTYPE Disconnect(IPin* pin) override;
    HRESULT STDMETHODCALLTYPE SetDefaultSyncSource() override;
    // Only filters of the graph are used.
    HRESULT STDMETHODCALLTYPE Connect(IPin* output, IPin* input) override;
    HRESULT STDMETHODCALLTYPE Render(IPin* output) override;
    HRESULT STDMETHODCALLTYPE AddSourceFilter(LPCWSTR file, LPCWSTR name,
                                              IBaseFilter** filter) override;
    // Called by a pin while the graph connects others, it happens after that.
    HRESULT STDMETHODCALLTYPE ReconnectEx(IPin* pin, const AM_MEDIA_TYPE* type) override;
    HRESULT STDMETHODCALLTYPE RenderEx(IPin* output, DWORD flags, DWORD* context) override;

private:
    struct Reconnection;
    class Connecting;

    ~FilterGraph();

    bool HasFilterOf(IPin& pin) REQUIRES(parts_.control);
    bool Has(IBaseFilter& filter) REQUIRES(parts_.control);
    bool HasName(const std::wstring& name) REQUIRES(parts_.control);
    HRESULT ReconnectNow(IPin& pin, const AM_MEDIA_TYPE* type) REQUIRES(parts_.control);
    void ReconnectPending() REQUIRES(parts_.control);
    // Meanwhile pins may ask for reconnections, which follow.
    template <class Call>
    HRESULT WhileConnecting(Call call) REQUIRES(parts_.control);
    std::vector<ComPtr<IBaseFilter>> AllFilters() REQUIRES(parts_.control);

    std::atomic<ULONG> references_{1};
    GraphParts parts_;
    GraphControl control_;
    GraphMediaFilter media_filter_;
    GraphVideoWindow video_window_;
    GraphSeeking seeking_;
    GraphPosition position_;
    GraphEvents events_;
    GraphEventSink event_sink_;
    // The thread that connects pins, on which they may ask for reconnections.
    std::atomic<std::thread::id> connecting_{};
    std::vector<Reconnection> pending_;  // of that thread alone
};
#pragma GCC diagnostic pop

HRESULT CreateFilterGraph(REFIID iid, void** object);

}  // namespace Vimbrel

// Running, pausing and stopping a graph.
#pragma once

#include "platform/linux/ds/graph/GraphStates.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

class GraphControl final : public DispatchFace<IMediaControl> {
public:
    GraphControl(IUnknown& owner, GraphParts& parts) : DispatchFace(owner), parts_(parts) {}

    HRESULT STDMETHODCALLTYPE Run() override;
    HRESULT STDMETHODCALLTYPE Pause() override;
    HRESULT STDMETHODCALLTYPE Stop() override;
    HRESULT STDMETHODCALLTYPE GetState(LONG milliseconds, OAFilterState* state) override;
    // Pauses, waits for the samples of that place, stops.
    HRESULT STDMETHODCALLTYPE StopWhenReady() override;

private:
    GraphParts& parts_;
};

// The graph as a filter of its own, which is how its clock is chosen.
class GraphMediaFilter final : public Face<IMediaFilter> {
public:
    GraphMediaFilter(IUnknown& owner, GraphParts& parts) : Face(owner), parts_(parts) {}

    HRESULT STDMETHODCALLTYPE GetClassID(CLSID* clsid) override;
    HRESULT STDMETHODCALLTYPE Stop() override;
    HRESULT STDMETHODCALLTYPE Pause() override;
    // The start is the graph's own matter: `start` is not used.
    HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME start) override;
    HRESULT STDMETHODCALLTYPE GetState(DWORD milliseconds, FILTER_STATE* state) override;
    HRESULT STDMETHODCALLTYPE SetSyncSource(IReferenceClock* clock) override;
    HRESULT STDMETHODCALLTYPE GetSyncSource(IReferenceClock** clock) override;

private:
    GraphParts& parts_;
};

// Nothing here has a window: VFW_E_NOT_CONNECTED.
class GraphVideoWindow final : public DispatchFace<IVideoWindow> {
public:
    explicit GraphVideoWindow(IUnknown& owner) : DispatchFace(owner) {}

    HRESULT STDMETHODCALLTYPE put_AutoShow(LONG) override { return VFW_E_NOT_CONNECTED; }
    HRESULT STDMETHODCALLTYPE put_Visible(LONG) override { return VFW_E_NOT_CONNECTED; }
    HRESULT STDMETHODCALLTYPE put_Owner(OAHWND) override { return VFW_E_NOT_CONNECTED; }
    HRESULT STDMETHODCALLTYPE put_MessageDrain(OAHWND) override { return VFW_E_NOT_CONNECTED; }
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

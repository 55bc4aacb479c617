#include "platform/linux/ds/graph/GraphControl.h"

namespace Vimbrel {

namespace {

template <class State>
HRESULT StateOf(GraphParts& parts, DWORD milliseconds, State& state) {
    std::vector<ComPtr<IBaseFilter>> filters;
    {
        const MutexLock guard(parts.control);
        state = parts.state;
        filters = FiltersUpstream(parts);
    }
    return WaitForSamples(filters, milliseconds);
}

}  // namespace

HRESULT STDMETHODCALLTYPE GraphControl::Run() {
    const MutexLock guard(parts_.control);
    return RunGraph(parts_);
}

HRESULT STDMETHODCALLTYPE GraphControl::Pause() {
    const MutexLock guard(parts_.control);
    return PauseGraph(parts_);
}

HRESULT STDMETHODCALLTYPE GraphControl::Stop() {
    const MutexLock guard(parts_.control);
    return StopGraph(parts_);
}

HRESULT STDMETHODCALLTYPE GraphControl::GetState(LONG milliseconds, OAFilterState* state) {
    if (!state) return E_POINTER;
    return StateOf(parts_, static_cast<DWORD>(milliseconds), *state);
}

HRESULT STDMETHODCALLTYPE GraphControl::StopWhenReady() {
    const MutexLock guard(parts_.control);
    HRESULT hr = PauseGraph(parts_);
    if (FAILED(hr)) return hr;
    hr = WaitForSamples(FiltersUpstream(parts_), 5000);
    StopGraph(parts_);
    return hr == S_OK ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE GraphMediaFilter::GetClassID(CLSID* clsid) {
    if (!clsid) return E_POINTER;
    *clsid = CLSID_FilterGraph;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE GraphMediaFilter::Stop() {
    const MutexLock guard(parts_.control);
    return StopGraph(parts_);
}

HRESULT STDMETHODCALLTYPE GraphMediaFilter::Pause() {
    const MutexLock guard(parts_.control);
    return PauseGraph(parts_);
}

HRESULT STDMETHODCALLTYPE GraphMediaFilter::Run(REFERENCE_TIME) {
    const MutexLock guard(parts_.control);
    return RunGraph(parts_);
}

HRESULT STDMETHODCALLTYPE GraphMediaFilter::GetState(DWORD milliseconds, FILTER_STATE* state) {
    if (!state) return E_POINTER;
    return StateOf(parts_, milliseconds, *state);
}

HRESULT STDMETHODCALLTYPE GraphMediaFilter::SetSyncSource(IReferenceClock* clock) {
    const MutexLock guard(parts_.control);
    const HRESULT hr = SetGraphClock(parts_, clock);
    if (SUCCEEDED(hr)) parts_.clock_set = true;
    return hr;
}

HRESULT STDMETHODCALLTYPE GraphMediaFilter::GetSyncSource(IReferenceClock** clock) {
    const MutexLock guard(parts_.control);
    return parts_.clock.CopyTo(clock);
}

}  // namespace Vimbrel

#include "filters/BaseRenderer.h"

namespace Vimbrel {

namespace {

// Leaves when the sample or the end is done with.
class Stay {
public:
    explicit Stay(RendererWait& wait) : wait_(wait), result(wait.Enter()) {}
    ~Stay() {
        if (result == S_OK) wait_.Leave();
    }
    Stay(const Stay&) = delete;
    Stay& operator=(const Stay&) = delete;

private:
    RendererWait& wait_;

public:
    const HRESULT result;
};

}  // namespace

CBaseRenderer::CBaseRenderer(REFCLSID clsid)
    : CBaseFilter(clsid), input_(*this), positions_(*this, input_), flags_(*this) {}

void* CBaseRenderer::FindInterface(REFIID iid) {
    if (iid == __uuidof(IAMFilterMiscFlags)) return static_cast<IAMFilterMiscFlags*>(&flags_);
    if (void* const found = positions_.FindInterface(iid)) return found;
    return CBaseFilter::FindInterface(iid);
}

HRESULT CBaseRenderer::Activate() {
    if (State() != State_Stopped) return S_OK;
    const HRESULT hr = ActivatePins();
    if (SUCCEEDED(hr)) wait_.Activate(input_.IsConnected());
    return hr;
}

HRESULT STDMETHODCALLTYPE CBaseRenderer::Stop() {
    const MutexLock guard(state_lock_);
    if (State() == State_Stopped) return S_OK;
    SetState(State_Stopped);
    DeactivatePins();
    wait_.Stop();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseRenderer::Pause() {
    const MutexLock guard(state_lock_);
    const HRESULT hr = Activate();
    if (FAILED(hr)) return hr;
    SetState(State_Paused);
    wait_.Pause();
    return wait_.WaitUntilCued(0) ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE CBaseRenderer::Run(REFERENCE_TIME start) {
    const MutexLock guard(state_lock_);
    if (State() == State_Running) return S_OK;
    const HRESULT hr = Activate();
    if (FAILED(hr)) return hr;
    SetState(State_Running);
    // Nothing will ever come, so the graph need not wait for it.
    if (!input_.IsConnected())
        NotifyEvent(EC_COMPLETE, S_OK, reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this)));
    wait_.Run(start);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseRenderer::GetState(DWORD milliseconds, FILTER_STATE* state) {
    if (!state) return E_POINTER;
    const bool cued = wait_.WaitUntilCued(milliseconds);
    *state = State();
    return cued ? S_OK : VFW_S_STATE_INTERMEDIATE;
}

HRESULT STDMETHODCALLTYPE CBaseRenderer::SetSyncSource(IReferenceClock* clock) {
    wait_.SetClock(clock);
    return CBaseFilter::SetSyncSource(clock);
}

HRESULT CBaseRenderer::SetMediaType(const CMediaType*) { return S_OK; }
HRESULT CBaseRenderer::CompleteConnect(IPin*) { return S_OK; }
HRESULT CBaseRenderer::BreakConnect() { return S_OK; }

HRESULT CBaseRenderer::Receive(IMediaSample* sample) {
    const Stay stay(wait_);
    if (stay.result != S_OK) return stay.result;
    HRESULT hr = input_.CBaseInputPin::Receive(sample);
    if (hr != S_OK) return hr;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME end = 0;
    const HRESULT times = sample->GetTime(&start, &end);
    const bool timed = SUCCEEDED(times);
    // Without an end a sample lasts no time.
    if (timed) wait_.SetLastEnd(times == S_OK ? end : start);
    hr = wait_.WaitUntilDue(timed ? std::optional(start - Lead()) : std::nullopt);
    if (hr == S_OK) DoRenderSample(sample);
    return hr;
}

HRESULT CBaseRenderer::EndOfStream() {
    const Stay stay(wait_);
    if (stay.result != S_OK) return stay.result;
    const HRESULT hr = wait_.WaitUntilDue(wait_.LastEnd());
    if (hr != S_OK) return hr;
    wait_.SetEnded();
    NotifyEvent(EC_COMPLETE, S_OK, reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this)));
    return S_OK;
}

HRESULT CBaseRenderer::BeginFlush() {
    wait_.BeginFlush();
    return S_OK;
}

HRESULT CBaseRenderer::EndFlush() {
    wait_.EndFlush();
    return S_OK;
}

}  // namespace Vimbrel

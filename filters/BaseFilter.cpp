#include "filters/BaseFilter.h"

#include <algorithm>
#include <utility>

#include "base/SetText.h"
#include "filters/BasePin.h"
#include "filters/Enumerators.h"

namespace Vimbrel {

void CopyName(WCHAR (&target)[128], const std::wstring& name) {
    const std::size_t length = std::min<std::size_t>(name.size(), 127);
    std::copy_n(name.data(), length, target);
    target[length] = L'\0';
}

HRESULT STDMETHODCALLTYPE CBaseFilter::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = FindInterface(iid);
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

void* CBaseFilter::FindInterface(REFIID iid) {
    const bool own = iid == __uuidof(IUnknown) || iid == __uuidof(IPersist) ||
                     iid == __uuidof(IMediaFilter) || iid == __uuidof(IBaseFilter);
    return own ? static_cast<IBaseFilter*>(this) : nullptr;
}

ULONG STDMETHODCALLTYPE CBaseFilter::AddRef() {
    return references_.fetch_add(1, std::memory_order_relaxed) + 1;
}

ULONG STDMETHODCALLTYPE CBaseFilter::Release() {
    const ULONG left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::GetClassID(CLSID* clsid) {
    if (!clsid) return E_POINTER;
    *clsid = clsid_;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::Stop() {
    const MutexLock guard(state_lock_);
    if (State() == State_Stopped) return S_OK;
    SetState(State_Stopped);
    DeactivatePins();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::Pause() {
    const MutexLock guard(state_lock_);
    if (State() == State_Stopped) {
        const HRESULT hr = ActivatePins();
        if (FAILED(hr)) return hr;
    }
    SetState(State_Paused);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::Run(REFERENCE_TIME) {
    const MutexLock guard(state_lock_);
    if (State() == State_Stopped) {
        const HRESULT hr = ActivatePins();
        if (FAILED(hr)) return hr;
    }
    SetState(State_Running);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::GetState(DWORD, FILTER_STATE* state) {
    if (!state) return E_POINTER;
    *state = State();
    return S_OK;
}

HRESULT CBaseFilter::ActivatePins() {
    for (int i = 0; i < GetPinCount(); ++i) {
        CBasePin* const pin = GetPin(i);
        if (!pin->IsConnected()) continue;
        const HRESULT hr = pin->Active();
        if (FAILED(hr)) {
            DeactivatePins();
            return hr;
        }
    }
    return S_OK;
}

void CBaseFilter::DeactivatePins() {
    for (int i = 0; i < GetPinCount(); ++i) {
        if (GetPin(i)->IsConnected()) GetPin(i)->Inactive();
    }
}

HRESULT STDMETHODCALLTYPE CBaseFilter::SetSyncSource(IReferenceClock* clock) {
    ComPtr<IReferenceClock> kept(clock);
    const MutexLock guard(members_lock_);
    std::swap(clock_, kept);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::GetSyncSource(IReferenceClock** clock) {
    return Clock().CopyTo(clock);
}

ComPtr<IReferenceClock> CBaseFilter::Clock() {
    const MutexLock guard(members_lock_);
    return clock_;
}

ComPtr<IFilterGraph> CBaseFilter::Graph() {
    const MutexLock guard(members_lock_);
    return ComPtr<IFilterGraph>(graph_);
}

HRESULT STDMETHODCALLTYPE CBaseFilter::EnumPins(IEnumPins** enumerator) {
    if (!enumerator) return E_POINTER;
    PinEnumerator::Objects pins;
    for (int i = 0; i < GetPinCount(); ++i) pins.emplace_back(static_cast<IPin*>(GetPin(i)));
    *enumerator = MakeCom<PinEnumerator>(std::move(pins)).Detach();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::FindPin(LPCWSTR id, IPin** pin) {
    if (!id || !pin) return E_POINTER;
    *pin = nullptr;
    for (int i = 0; i < GetPinCount(); ++i) {
        if (GetPin(i)->Name() == id) return ComPtr<IPin>(GetPin(i)).CopyTo(pin);
    }
    return VFW_E_NOT_FOUND;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::QueryFilterInfo(FILTER_INFO* info) {
    if (!info) return E_POINTER;
    const MutexLock guard(members_lock_);
    CopyName(info->achName, name_);
    info->pGraph = graph_;
    if (graph_) graph_->AddRef();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) {
    IMediaEventSink* sink = nullptr;
    if (graph) {
        void* found = nullptr;
        if (SUCCEEDED(graph->QueryInterface(__uuidof(IMediaEventSink), &found))) {
            sink = static_cast<IMediaEventSink*>(found);
            sink->Release();
        }
    }
    sink_ = sink;
    const MutexLock guard(members_lock_);
    graph_ = graph;
    SetText(name_, name);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseFilter::QueryVendorInfo(LPWSTR*) { return E_NOTIMPL; }

HRESULT CBaseFilter::NotifyEvent(LONG code, LONG_PTR first, LONG_PTR second) {
    IMediaEventSink* const sink = sink_;
    return sink ? sink->Notify(code, first, second) : E_NOTIMPL;
}

}  // namespace Vimbrel

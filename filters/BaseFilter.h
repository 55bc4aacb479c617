// State, clock, graph and pins of a filter.
#pragma once

#include <atomic>
#include <string>

#include "base/ThreadSafety.h"
#include "com/ComPtr.h"
#include "filters/FilterNames.h"

namespace Vimbrel {

class CBasePin;

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Pins share the count of their filter. Control operations come from one thread at a time, which
// the graph sees to; `state_lock_` is held during a change of state. A streaming thread never takes
// it.
class CBaseFilter : public IBaseFilter {
public:
    CBaseFilter(const CBaseFilter&) = delete;
    CBaseFilter& operator=(const CBaseFilter&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE GetClassID(CLSID* clsid) override;
    HRESULT STDMETHODCALLTYPE Stop() override;
    HRESULT STDMETHODCALLTYPE Pause() override;
    HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME start) override;
    HRESULT STDMETHODCALLTYPE GetState(DWORD milliseconds, FILTER_STATE* state) override;
    HRESULT STDMETHODCALLTYPE SetSyncSource(IReferenceClock* clock) override;
    HRESULT STDMETHODCALLTYPE GetSyncSource(IReferenceClock** clock) override;
    HRESULT STDMETHODCALLTYPE EnumPins(IEnumPins** enumerator) override;
    HRESULT STDMETHODCALLTYPE FindPin(LPCWSTR id, IPin** pin) override;
    HRESULT STDMETHODCALLTYPE QueryFilterInfo(FILTER_INFO* info) override;
    HRESULT STDMETHODCALLTYPE JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override;
    HRESULT STDMETHODCALLTYPE QueryVendorInfo(LPWSTR* info) override;

    virtual int GetPinCount() = 0;
    // Not owned.
    virtual CBasePin* GetPin(int index) = 0;

    FILTER_STATE State() const { return state_; }
    ComPtr<IReferenceClock> Clock();
    // Null while the filter is in none.
    ComPtr<IFilterGraph> Graph();
    // Reports to the graph, on any thread. E_NOTIMPL without one.
    HRESULT NotifyEvent(LONG code, LONG_PTR first, LONG_PTR second);

protected:
    explicit CBaseFilter(REFCLSID clsid) : clsid_(clsid) {}
    virtual ~CBaseFilter() = default;

    // The interface without a reference, null if there is none.
    virtual void* FindInterface(REFIID iid);
    void SetState(FILTER_STATE state) { state_ = state; }
    // Prepares the connected pins for streaming; on a failure undoes that.
    HRESULT ActivatePins() REQUIRES(state_lock_);
    void DeactivatePins() REQUIRES(state_lock_);

    Mutex state_lock_;

private:
    const CLSID clsid_;
    std::atomic<ULONG> references_{1};
    std::atomic<FILTER_STATE> state_{State_Stopped};
    // Of the graph, which outlives its filters: not owned, as the graph counts them.
    std::atomic<IMediaEventSink*> sink_{nullptr};
    // A leaf: nothing is called while it is held.
    Mutex members_lock_;
    IFilterGraph* graph_ GUARDED_BY(members_lock_) = nullptr;
    std::wstring name_ GUARDED_BY(members_lock_);
    ComPtr<IReferenceClock> clock_ GUARDED_BY(members_lock_);
};
#pragma GCC diagnostic pop

// Copies a text into an array of a published structure, cut to fit.
void CopyName(WCHAR (&target)[128], const std::wstring& name);

}  // namespace Vimbrel

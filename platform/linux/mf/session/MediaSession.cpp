#include "platform/linux/mf/session/MediaSession.h"

#include <mfapi.h>

#include <new>

#include "platform/linux/mf/session/TranscodeTopology.h"

namespace Vimbrel {

HRESULT STDMETHODCALLTYPE MediaSession::SetTopology(DWORD flags, IMFTopology* topology) try {
    if (flags != 0) return E_INVALIDARG;
    auto* const own = dynamic_cast<TranscodeTopology*>(topology);
    if (!own) return E_INVALIDARG;
    ComPtr<TranscodeRun> run;  // one that fails is released without the lock
    const MutexLock guard(lock_);
    if (shut_down_) return MF_E_SHUTDOWN;
    if (run_ || closed_without_run_) return MF_E_INVALIDREQUEST;
    TranscodeJob job;
    if (!own->TakeJob(job)) return MF_E_INVALIDREQUEST;
    run = MakeCom<TranscodeRun>(std::move(job), events_, clock_);
    if (const HRESULT hr = run->Prepare(); FAILED(hr)) return hr;
    run_ = std::move(run);
    return events_->QueueEventParamUnk(MESessionTopologySet, GUID_NULL, S_OK, topology);
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT MediaSession::CurrentRun(ComPtr<TranscodeRun>& run) {
    const MutexLock guard(lock_);
    if (shut_down_) return MF_E_SHUTDOWN;
    run = run_;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaSession::Start(const GUID* time_format,
                                              const PROPVARIANT* position) {
    if (time_format && *time_format != GUID_NULL) return MF_E_UNSUPPORTED_TIME_FORMAT;
    if (!position) return E_INVALIDARG;
    if (position->vt != VT_EMPTY) return MF_E_INVALIDREQUEST;
    ComPtr<TranscodeRun> run;
    if (const HRESULT hr = CurrentRun(run); FAILED(hr)) return hr;
    return run ? run->Start() : MF_E_INVALIDREQUEST;
}

HRESULT STDMETHODCALLTYPE MediaSession::Close() {
    ComPtr<TranscodeRun> run;
    if (const HRESULT hr = CurrentRun(run); FAILED(hr)) return hr;
    if (run) {
        run->Close();
        return S_OK;
    }
    const MutexLock guard(lock_);
    if (closed_without_run_) return S_OK;
    closed_without_run_ = true;
    return events_->QueueEventParamVar(MESessionClosed, GUID_NULL, S_OK, nullptr);
}

HRESULT STDMETHODCALLTYPE MediaSession::Shutdown() {
    ComPtr<TranscodeRun> run;
    {
        const MutexLock guard(lock_);
        if (shut_down_) return S_OK;
        shut_down_ = true;
        run = std::move(run_);
    }
    if (run) run->Shutdown();
    events_->Shutdown();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaSession::GetClock(IMFClock** clock) {
    if (!clock) return E_POINTER;
    *clock = nullptr;
    const MutexLock guard(lock_);
    if (shut_down_) return MF_E_SHUTDOWN;
    *clock = ComPtr<PresentationClock>(clock_).Detach();
    return S_OK;
}

}  // namespace Vimbrel

extern "C" HRESULT WINAPI MFCreateMediaSession(IMFAttributes* configuration,
                                               IMFMediaSession** session) {
    using namespace Vimbrel;
    if (!session) return E_POINTER;
    *session = nullptr;
    if (configuration) return E_INVALIDARG;
    ComPtr<IMFMediaEventQueue> events;
    if (const HRESULT hr = MFCreateEventQueue(events.Put()); FAILED(hr)) return hr;
    return CreateCom<MediaSession>(session, std::move(events));
}

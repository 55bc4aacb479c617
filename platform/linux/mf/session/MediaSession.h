// The session that the library sees: states and events around a run of the topology.
#pragma once

#include <mfidl.h>

#include "base/ThreadSafety.h"
#include "com/ComObject.h"
#include "platform/linux/mf/session/PresentationClock.h"
#include "platform/linux/mf/session/TranscodeRun.h"

namespace Vimbrel {

class MediaSession final : public ComObject<Implements<IMFMediaSession, IMFMediaEventGenerator>> {
public:
    explicit MediaSession(ComPtr<IMFMediaEventQueue> events) : events_(std::move(events)) {}
    ~MediaSession() override { Shutdown(); }

    HRESULT STDMETHODCALLTYPE GetEvent(DWORD flags, IMFMediaEvent** event) override {
        return events_->GetEvent(flags, event);
    }
    HRESULT STDMETHODCALLTYPE BeginGetEvent(IMFAsyncCallback* callback, IUnknown* state) override {
        return events_->BeginGetEvent(callback, state);
    }
    HRESULT STDMETHODCALLTYPE EndGetEvent(IMFAsyncResult* result, IMFMediaEvent** event) override {
        return events_->EndGetEvent(result, event);
    }
    HRESULT STDMETHODCALLTYPE QueueEvent(MediaEventType type, REFGUID extended_type, HRESULT status,
                                         const PROPVARIANT* value) override {
        return events_->QueueEventParamVar(type, extended_type, status, value);
    }
    HRESULT STDMETHODCALLTYPE SetTopology(DWORD flags, IMFTopology* topology) override;
    HRESULT STDMETHODCALLTYPE Start(const GUID* time_format, const PROPVARIANT* position) override;
    HRESULT STDMETHODCALLTYPE Close() override;
    HRESULT STDMETHODCALLTYPE Shutdown() override;
    HRESULT STDMETHODCALLTYPE GetClock(IMFClock** clock) override;

private:
    // Null with S_OK if there is no topology.
    HRESULT CurrentRun(ComPtr<TranscodeRun>& run);

    const ComPtr<IMFMediaEventQueue> events_;
    const ComPtr<PresentationClock> clock_ = MakeCom<PresentationClock>();
    Mutex lock_;  // before that of the event queue
    ComPtr<TranscodeRun> run_ GUARDED_BY(lock_);
    bool closed_without_run_ GUARDED_BY(lock_) = false;
    bool shut_down_ GUARDED_BY(lock_) = false;
};

}  // namespace Vimbrel

// The events of a generator on their way to whoever asks for them.
#pragma once

#include <mfobjects.h>

#include <list>

#include "base/ThreadSafety.h"
#include "platform/linux/mf/queue/AsyncResult.h"

namespace Vimbrel {

class EventQueue final : public ComObject<Implements<IMFMediaEventQueue>> {
public:
    HRESULT STDMETHODCALLTYPE GetEvent(DWORD flags, IMFMediaEvent** event) override;
    HRESULT STDMETHODCALLTYPE BeginGetEvent(IMFAsyncCallback* callback, IUnknown* state) override;
    HRESULT STDMETHODCALLTYPE EndGetEvent(IMFAsyncResult* result, IMFMediaEvent** event) override;
    HRESULT STDMETHODCALLTYPE QueueEvent(IMFMediaEvent* event) override;
    HRESULT STDMETHODCALLTYPE QueueEventParamVar(MediaEventType type, REFGUID extended_type,
                                                 HRESULT status, const PROPVARIANT* value) override;
    HRESULT STDMETHODCALLTYPE QueueEventParamUnk(MediaEventType type, REFGUID extended_type,
                                                 HRESULT status, IUnknown* object) override;
    HRESULT STDMETHODCALLTYPE Shutdown() override;

private:
    Mutex lock_;
    Condition arrived_;
    std::list<ComPtr<IMFMediaEvent>> events_ GUARDED_BY(lock_);
    // From BeginGetEvent until EndGetEvent.
    ComPtr<AsyncResult> request_ GUARDED_BY(lock_);
    // The request's callback is on its way.
    bool answered_ GUARDED_BY(lock_) = false;
    bool shut_down_ GUARDED_BY(lock_) = false;
};

}  // namespace Vimbrel

// The events of a generator on their way to whoever asks for them.
#pragma once

#include <mfobjects.h>

#include <condition_variable>
#include <deque>
#include <mutex>

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
    std::mutex lock_;
    std::condition_variable arrived_;
    std::deque<ComPtr<IMFMediaEvent>> events_;
    ComPtr<AsyncResult> request_;  // from BeginGetEvent until EndGetEvent
    bool answered_ = false;        // the request's callback is on its way
    bool shut_down_ = false;
};

}  // namespace Vimbrel

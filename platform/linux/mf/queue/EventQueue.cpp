#include "platform/linux/mf/queue/EventQueue.h"

#include <mfapi.h>

#include <new>

#include "platform/linux/mf/objects/MediaEvent.h"
#include "platform/linux/mf/queue/MediaPlatform.h"

namespace Vimbrel {

HRESULT STDMETHODCALLTYPE EventQueue::GetEvent(DWORD flags, IMFMediaEvent** event) {
    if (!event) return E_POINTER;
    *event = nullptr;
    MutexLock guard(lock_);
    if (!shut_down_ && request_) return MF_E_MULTIPLE_SUBSCRIBERS;
    if ((flags & MF_EVENT_FLAG_NO_WAIT) == 0) {
        while (!shut_down_ && events_.empty()) arrived_.Wait(guard);
    }
    if (shut_down_) return MF_E_SHUTDOWN;
    if (events_.empty()) return MF_E_NO_EVENTS_AVAILABLE;
    *event = events_.front().Detach();
    events_.pop_front();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE EventQueue::BeginGetEvent(IMFAsyncCallback* callback,
                                                    IUnknown* state) try {
    if (!callback) return E_INVALIDARG;
    const MutexLock guard(lock_);
    if (shut_down_) return MF_E_SHUTDOWN;
    if (request_) {
        if (request_->Callback() != callback) return MF_E_MULTIPLE_SUBSCRIBERS;
        return request_->GetStateNoAddRef() == state ? MF_S_MULTIPLE_BEGIN : MF_E_MULTIPLE_BEGIN;
    }
    ComPtr<AsyncResult> request = MakeCom<AsyncResult>(nullptr, callback, state);
    if (!events_.empty()) {
        if (const HRESULT hr = InvokeOnWorkQueue(request); FAILED(hr)) return hr;
    }
    answered_ = !events_.empty();
    request_ = std::move(request);
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT STDMETHODCALLTYPE EventQueue::EndGetEvent(IMFAsyncResult* result, IMFMediaEvent** event) {
    if (!result || !event) return E_POINTER;
    *event = nullptr;
    ComPtr<AsyncResult> request;  // released without the lock
    const MutexLock guard(lock_);
    if (shut_down_) return MF_E_SHUTDOWN;
    if (request_.Get() != result || !answered_ || events_.empty()) return MF_E_INVALIDREQUEST;
    request = std::move(request_);
    *event = events_.front().Detach();
    events_.pop_front();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE EventQueue::QueueEvent(IMFMediaEvent* event) try {
    if (!event) return E_INVALIDARG;
    {
        const MutexLock guard(lock_);
        if (shut_down_) return MF_E_SHUTDOWN;
        events_.emplace_back(event);
        if (request_ && !answered_) {
            if (const HRESULT hr = InvokeOnWorkQueue(request_); FAILED(hr)) return hr;
            answered_ = true;
        }
    }
    arrived_.NotifyOne();
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT STDMETHODCALLTYPE EventQueue::QueueEventParamVar(MediaEventType type, REFGUID extended_type,
                                                         HRESULT status, const PROPVARIANT* value) {
    ComPtr<IMFMediaEvent> event;
    const HRESULT hr = MediaEvent::Create(type, extended_type, status, value, event);
    return SUCCEEDED(hr) ? QueueEvent(event.Get()) : hr;
}

HRESULT STDMETHODCALLTYPE EventQueue::QueueEventParamUnk(MediaEventType type, REFGUID extended_type,
                                                         HRESULT status, IUnknown* object) {
    PROPVARIANT value{};
    value.vt = VT_UNKNOWN;
    value.punkVal = object;  // the event takes a reference of its own
    return QueueEventParamVar(type, extended_type, status, &value);
}

HRESULT STDMETHODCALLTYPE EventQueue::Shutdown() {
    std::list<ComPtr<IMFMediaEvent>> events;
    ComPtr<AsyncResult> request;
    {
        const MutexLock guard(lock_);
        if (shut_down_) return MF_E_SHUTDOWN;
        shut_down_ = true;
        events.swap(events_);
        request = std::move(request_);
        if (request && !answered_) {
            request->SetStatus(MF_E_SHUTDOWN);
            InvokeOnWorkQueue(request);  // after MFShutdown nobody waits for it any more
        }
    }
    arrived_.NotifyAll();
    return S_OK;
}

}  // namespace Vimbrel

extern "C" HRESULT WINAPI MFCreateEventQueue(IMFMediaEventQueue** queue) {
    if (!queue) return E_POINTER;
    return Vimbrel::CreateCom<Vimbrel::EventQueue>(queue);
}

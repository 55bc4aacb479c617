#include "Source/record/TranscodeSession.h"

#include <mfapi.h>
#include <propidl.h>

#include <new>

#include "base/Failure.h"
#include "base/MessageWait.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

using HalvorixAppLog::LOG_LEVEL_FATAL;

HRESULT TranscodeSession::Create(IMFTopology* topology, ComPtr<TranscodeSession>& session) {
    ComPtr<TranscodeSession> made;
    made.Attach(new (std::nothrow) TranscodeSession);
    if (!made) {
        APPLOG_FORMAT(LOG_LEVEL_FATAL, "New TranscodeSession failed");
        return E_OUTOFMEMORY;
    }
    const HRESULT hr = LogIfFailed(made->Initialize(topology), "TranscodeSession Create");
    if (SUCCEEDED(hr)) session = std::move(made);
    return hr;
}

HRESULT TranscodeSession::Initialize(IMFTopology* topology) {
    closed_event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (!closed_event) return E_OUTOFMEMORY;
    HRESULT hr = MFCreateMediaSession(nullptr, media_session.Put());
    if (FAILED(hr)) return hr;
    ComPtr<IMFClock> any_clock;
    hr = media_session->GetClock(any_clock.Put());
    if (FAILED(hr)) return hr;
    hr = any_clock->QueryInterface(IID_PPV_ARGS(clock.Put()));
    if (FAILED(hr)) return hr;
    hr = media_session->SetTopology(0, topology);
    return FAILED(hr) ? hr : media_session->BeginGetEvent(this, nullptr);
}

TranscodeSession::~TranscodeSession() {
    if (media_session) media_session->Shutdown();
    clock.Reset();
    media_session.Reset();
    if (closed_event) CloseHandle(closed_event);
}

HRESULT TranscodeSession::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (iid != __uuidof(IUnknown) && iid != __uuidof(IMFAsyncCallback)) return E_NOINTERFACE;
    *object = static_cast<IMFAsyncCallback*>(this);
    AddRef();
    return S_OK;
}

ULONG TranscodeSession::AddRef() {
    return reference_count.fetch_add(1, std::memory_order_relaxed) + 1;
}

ULONG TranscodeSession::Release() {
    const ULONG left = reference_count.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
}

HRESULT TranscodeSession::GetParameters(DWORD*, DWORD*) { return E_NOTIMPL; }

HRESULT TranscodeSession::Invoke(IMFAsyncResult* result) {
    const HRESULT hr = HandleEvent(result);
    if (SUCCEEDED(hr)) return hr;
    SetFailed(hr);
    media_session->Close();
    SetEvent(closed_event);
    return hr;
}

HRESULT TranscodeSession::HandleEvent(IMFAsyncResult* result) {
    ComPtr<IMFMediaEvent> event;
    HRESULT hr = media_session->EndGetEvent(result, event.Put());
    if (FAILED(hr)) return hr;
    MediaEventType type = MEUnknown;
    hr = event->GetType(&type);
    if (FAILED(hr)) return hr;
    HRESULT event_status = S_OK;
    hr = event->GetStatus(&event_status);
    if (FAILED(hr)) return hr;
    if (FAILED(event_status)) return event_status;
    if (type == MESessionClosed) {
        SetEvent(closed_event);
        return S_OK;
    }
    if (type == MESessionEnded) {
        hr = media_session->Close();
        if (FAILED(hr)) return hr;
    }
    if (type == MENonFatalError) {
        hr = HandleRefusal(*event.Get());
        if (FAILED(hr)) return hr;
    }
    return media_session->BeginGetEvent(this, nullptr);
}

HRESULT TranscodeSession::HandleRefusal(IMFMediaEvent& event) {
    GUID medium = GUID_NULL;
    const HRESULT hr = event.GetExtendedType(&medium);
    if (FAILED(hr)) return hr;
    const bool video = medium == MFMediaType_Video;
    const MutexLock lock(failure_lock);
    if (listener && (video || medium == MFMediaType_Audio)) listener->OnSampleRefused(video);
    return S_OK;
}

HRESULT TranscodeSession::Start(HANDLE event, Listener& recorder) {
    {
        const MutexLock lock(failure_lock);
        started_event = event;
        listener = &recorder;
        if (FAILED(status)) {
            recorder.OnSessionFailed();
            SetEvent(event);
        }
    }
    PROPVARIANT position;
    PropVariantInit(&position);
    const HRESULT hr = media_session->Start(&GUID_NULL, &position);
    if (FAILED(hr)) SetFailed(hr);
    return hr;
}

void TranscodeSession::SetFailed(HRESULT failure) {
    const MutexLock lock(failure_lock);
    status = failure;
    if (listener) listener->OnSessionFailed();
    if (started_event) SetEvent(started_event);
}

HRESULT TranscodeSession::Status() {
    const MutexLock lock(failure_lock);
    return status;
}

void TranscodeSession::WaitClosed() {
    if (WaitForSingleObject(closed_event, 0) != WAIT_OBJECT_0) WaitKeepingMessages(closed_event);
}

void TranscodeSession::Shutdown() {
    {
        const MutexLock lock(failure_lock);
        started_event = nullptr;
        listener = nullptr;
    }
    media_session->Shutdown();
}

}  // namespace Vimbrel

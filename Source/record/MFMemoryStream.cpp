#include "Source/record/MFMemoryStream.h"

#include <mferror.h>

#include <utility>

#include "Source/record/MFMemorySource.h"

namespace Vimbrel {

MFMemoryStream::MFMemoryStream(MFMemorySource* owner, std::shared_ptr<CriticalSection> section,
                               IMFStreamDescriptor* described, IMFMediaEventQueue* events)
    : critical_section(std::move(section)),
      source(owner),
      descriptor(described),
      event_queue(events) {}

HRESULT MFMemoryStream::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (iid != __uuidof(IUnknown) && iid != __uuidof(IMFMediaEventGenerator) &&
        iid != __uuidof(IMFMediaStream))
        return E_NOINTERFACE;
    *object = static_cast<IMFMediaStream*>(this);
    AddRef();
    return S_OK;
}

HRESULT MFMemoryStream::CheckShutdown() const {
    return state == STATE_SHUT_DOWN ? MF_E_SHUTDOWN : S_OK;
}

HRESULT MFMemoryStream::GetEvent(DWORD flags, IMFMediaEvent** event) {
    ComPtr<IMFMediaEventQueue> events;
    {
        const CriticalSectionLock lock(*critical_section);
        const HRESULT hr = CheckShutdown();
        if (FAILED(hr)) return hr;
        events = event_queue;
    }
    // The call may wait, so the lock is not held.
    return events->GetEvent(flags, event);
}

HRESULT MFMemoryStream::BeginGetEvent(IMFAsyncCallback* callback, IUnknown* call_state) {
    const CriticalSectionLock lock(*critical_section);
    const HRESULT hr = CheckShutdown();
    return FAILED(hr) ? hr : event_queue->BeginGetEvent(callback, call_state);
}

HRESULT MFMemoryStream::EndGetEvent(IMFAsyncResult* result, IMFMediaEvent** event) {
    const CriticalSectionLock lock(*critical_section);
    const HRESULT hr = CheckShutdown();
    return FAILED(hr) ? hr : event_queue->EndGetEvent(result, event);
}

HRESULT MFMemoryStream::QueueEvent(MediaEventType type, REFGUID extended, HRESULT status,
                                   const PROPVARIANT* value) {
    const CriticalSectionLock lock(*critical_section);
    const HRESULT hr = CheckShutdown();
    return FAILED(hr) ? hr : event_queue->QueueEventParamVar(type, extended, status, value);
}

HRESULT MFMemoryStream::GetMediaSource(IMFMediaSource** result) {
    if (!result) return E_POINTER;
    const CriticalSectionLock lock(*critical_section);
    const HRESULT hr = CheckShutdown();
    return FAILED(hr) ? hr : source->QueryInterface(IID_PPV_ARGS(result));
}

HRESULT MFMemoryStream::GetStreamDescriptor(IMFStreamDescriptor** result) {
    if (!result) return E_POINTER;
    const CriticalSectionLock lock(*critical_section);
    const HRESULT hr = CheckShutdown();
    return FAILED(hr) ? hr : descriptor.CopyTo(result);
}

HRESULT MFMemoryStream::RequestSample(IUnknown* token) {
    const CriticalSectionLock lock(*critical_section);
    HRESULT hr = CheckShutdown();
    if (FAILED(hr)) return hr;
    if (state == STATE_STOPPED || !active) {
        hr = MF_E_INVALIDREQUEST;
    } else if (end_of_stream && samples.IsEmpty()) {
        hr = MF_E_END_OF_STREAM;
    } else {
        hr = requests.PushBack(token);
        if (SUCCEEDED(hr)) hr = Dispatch();
    }
    if (FAILED(hr)) ReportError(hr);
    return hr;
}

void MFMemoryStream::SetVideo(bool video) {
    const CriticalSectionLock lock(*critical_section);
    is_video = video;
}

ComPtr<IMFStreamDescriptor> MFMemoryStream::Descriptor() const {
    const CriticalSectionLock lock(*critical_section);
    return descriptor;
}

bool MFMemoryStream::IsActive() const {
    const CriticalSectionLock lock(*critical_section);
    return active != FALSE;
}

bool MFMemoryStream::NeedsData() const {
    const CriticalSectionLock lock(*critical_section);
    return WantsSamples();
}

bool MFMemoryStream::IsFull() const {
    const CriticalSectionLock lock(*critical_section);
    return active && samples.Count() >= most_samples;
}

void MFMemoryStream::Activate(bool on) {
    const CriticalSectionLock lock(*critical_section);
    if ((active != FALSE) == on) return;
    active = on;
    if (on) return;
    samples.Clear();
    requests.Clear();
}

HRESULT MFMemoryStream::Start(const PROPVARIANT& position) {
    const CriticalSectionLock lock(*critical_section);
    HRESULT hr = CheckShutdown();
    if (SUCCEEDED(hr))
        hr = event_queue->QueueEventParamVar(MEStreamStarted, GUID_NULL, S_OK, &position);
    if (FAILED(hr)) return hr;
    state = STATE_STARTED;
    return Dispatch();
}

HRESULT MFMemoryStream::Pause() {
    const CriticalSectionLock lock(*critical_section);
    if (state == STATE_SHUT_DOWN) return S_OK;
    state = STATE_PAUSED;
    return event_queue->QueueEventParamVar(MEStreamPaused, GUID_NULL, S_OK, nullptr);
}

HRESULT MFMemoryStream::Stop() {
    const CriticalSectionLock lock(*critical_section);
    if (state == STATE_SHUT_DOWN) return S_OK;
    requests.Clear();
    samples.Clear();
    state = STATE_STOPPED;
    return event_queue->QueueEventParamVar(MEStreamStopped, GUID_NULL, S_OK, nullptr);
}

HRESULT MFMemoryStream::Deliver(IMFSample* sample) {
    const CriticalSectionLock lock(*critical_section);
    const HRESULT hr = samples.PushBack(sample);
    return FAILED(hr) ? hr : Dispatch();
}

HRESULT MFMemoryStream::EndOfStream() {
    const CriticalSectionLock lock(*critical_section);
    end_of_stream = TRUE;
    return Dispatch();
}

void MFMemoryStream::Shutdown() {
    const CriticalSectionLock lock(*critical_section);
    if (state == STATE_SHUT_DOWN) return;
    state = STATE_SHUT_DOWN;
    event_queue->Shutdown();
    samples.Clear();
    requests.Clear();
    descriptor.Reset();
    event_queue.Reset();
    source = nullptr;
}

HRESULT MFMemoryStream::Dispatch() {
    const HRESULT hr = ServeRequests();
    if (FAILED(hr)) ReportError(hr);
    // Kept: success, so that the pump goes on for the other stream. The pipeline learns of the
    // failure by the event.
    return S_OK;
}

HRESULT MFMemoryStream::ServeRequests() {
    if (state != STATE_STARTED) return S_OK;
    while (!samples.IsEmpty() && !requests.IsEmpty()) {
        ComPtr<IMFSample> sample;
        ComPtr<IUnknown> token;
        samples.PopFront(sample.Put());
        // Kept: tokens only count the requests, because no pipeline looks for them at the samples.
        requests.PopFront(token.Put());
        const HRESULT hr =
            event_queue->QueueEventParamUnk(MEMediaSample, GUID_NULL, S_OK, sample.Get());
        if (FAILED(hr)) return hr;
    }
    if (samples.IsEmpty() && end_of_stream) {
        const HRESULT hr = event_queue->QueueEventParamVar(MEEndOfStream, GUID_NULL, S_OK, nullptr);
        return FAILED(hr) ? hr : source->QueueOperationOf(SourceOp::OP_END_OF_STREAM);
    }
    return WantsSamples() ? source->QueueOperationOf(SourceOp::OP_REQUEST_DATA) : S_OK;
}

void MFMemoryStream::ReportError(HRESULT status) {
    if (state != STATE_SHUT_DOWN) source->QueueEvent(MEError, GUID_NULL, status, nullptr);
}

}  // namespace Vimbrel

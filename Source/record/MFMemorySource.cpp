// One file in spite of its length: every operation works on the same state under the same lock.
#include "Source/record/MFMemorySource.h"

#include <mfapi.h>
#include <mferror.h>

#include <algorithm>
#include <new>
#include <utility>

namespace Vimbrel {

MFMemorySource::MFMemorySource() : MFMemorySource(std::make_shared<CriticalSection>()) {}

MFMemorySource::MFMemorySource(std::shared_ptr<CriticalSection> shared)
    : OpQueue(*shared), section(std::move(shared)) {
    // Every operation fails without an event queue.
    static_cast<void>(MFCreateEventQueue(event_queue.Put()));
}

MFMemorySource::~MFMemorySource() {
    if (state != STATE_SHUT_DOWN) MFMemorySource::Shutdown();
}

HRESULT MFMemorySource::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (iid != __uuidof(IUnknown) && iid != __uuidof(IMFMediaEventGenerator) &&
        iid != __uuidof(IMFMediaSource))
        return E_NOINTERFACE;
    *object = static_cast<IMFMediaSource*>(this);
    AddRef();
    return S_OK;
}

HRESULT MFMemorySource::CheckShutdown() const {
    if (state == STATE_SHUT_DOWN) return MF_E_SHUTDOWN;
    return event_queue ? S_OK : MF_E_NOT_INITIALIZED;
}

HRESULT MFMemorySource::GetEvent(DWORD flags, IMFMediaEvent** event) {
    ComPtr<IMFMediaEventQueue> events;
    {
        const CriticalSectionLock lock(critical_section);
        const HRESULT hr = CheckShutdown();
        if (FAILED(hr)) return hr;
        events = event_queue;
    }
    // The call may wait, so the lock is not held.
    return events->GetEvent(flags, event);
}

HRESULT MFMemorySource::BeginGetEvent(IMFAsyncCallback* callback, IUnknown* call_state) {
    const CriticalSectionLock lock(critical_section);
    const HRESULT hr = CheckShutdown();
    return FAILED(hr) ? hr : event_queue->BeginGetEvent(callback, call_state);
}

HRESULT MFMemorySource::EndGetEvent(IMFAsyncResult* result, IMFMediaEvent** event) {
    const CriticalSectionLock lock(critical_section);
    const HRESULT hr = CheckShutdown();
    return FAILED(hr) ? hr : event_queue->EndGetEvent(result, event);
}

HRESULT MFMemorySource::QueueEvent(MediaEventType type, REFGUID extended, HRESULT status,
                                   const PROPVARIANT* value) {
    const CriticalSectionLock lock(critical_section);
    const HRESULT hr = CheckShutdown();
    return FAILED(hr) ? hr : event_queue->QueueEventParamVar(type, extended, status, value);
}

HRESULT MFMemorySource::GetCharacteristics(DWORD* characteristics) {
    if (!characteristics) return E_POINTER;
    const CriticalSectionLock lock(critical_section);
    const HRESULT hr = CheckShutdown();
    if (SUCCEEDED(hr)) *characteristics = MFMEDIASOURCE_IS_LIVE;
    return hr;
}

HRESULT MFMemorySource::CreatePresentationDescriptor(IMFPresentationDescriptor** descriptor) {
    if (!descriptor) return E_POINTER;
    const CriticalSectionLock lock(critical_section);
    const HRESULT hr = CheckShutdown();
    if (FAILED(hr)) return hr;
    return presentation_descriptor ? presentation_descriptor->Clone(descriptor)
                                   : MF_E_NOT_INITIALIZED;
}

HRESULT MFMemorySource::Start(IMFPresentationDescriptor* descriptor, const GUID* time_format,
                              const PROPVARIANT* position) {
    const CriticalSectionLock lock(critical_section);
    HRESULT hr = CheckShutdown();
    if (FAILED(hr)) return hr;
    if (!descriptor || !position) return E_INVALIDARG;
    if (time_format && *time_format != GUID_NULL) return MF_E_UNSUPPORTED_TIME_FORMAT;
    if (position->vt == VT_I8) {
        if (state != STATE_STOPPED || position->hVal.QuadPart != 0) return MF_E_INVALIDREQUEST;
    } else if (position->vt != VT_EMPTY) {
        return MF_E_UNSUPPORTED_TIME_FORMAT;
    }
    ComPtr<StartOp> operation;
    operation.Attach(new (std::nothrow) StartOp(descriptor));
    if (!operation) return E_OUTOFMEMORY;
    hr = operation->SetData(*position);
    return FAILED(hr) ? hr : QueueOperation(operation.Get());
}

HRESULT MFMemorySource::Stop() {
    const CriticalSectionLock lock(critical_section);
    const HRESULT hr = CheckShutdown();
    return FAILED(hr) ? hr : QueueOperationOf(SourceOp::OP_STOP);
}

HRESULT MFMemorySource::Pause() {
    const CriticalSectionLock lock(critical_section);
    const HRESULT hr = CheckShutdown();
    return FAILED(hr) ? hr : QueueOperationOf(SourceOp::OP_PAUSE);
}

HRESULT MFMemorySource::Shutdown() {
    // Before the section is taken: the thread that waits for a block holds it.
    blocks.Drop();
    const CriticalSectionLock lock(critical_section);
    if (state == STATE_SHUT_DOWN) return MF_E_SHUTDOWN;
    for (const auto& stream : streams) stream->Shutdown();
    if (event_queue) event_queue->Shutdown();
    video_stream = nullptr;
    audio_stream = nullptr;
    streams.clear();
    audio_type.Reset();
    video_type.Reset();
    presentation_descriptor.Reset();
    event_queue.Reset();
    queue.Clear();
    current_op.Reset();
    pump_op.Reset();
    started_event = nullptr;
    state = STATE_SHUT_DOWN;
    blocks.Close();
    return S_OK;
}

void MFMemorySource::SetTypes(IMFMediaType* video, IMFMediaType* audio) {
    const CriticalSectionLock lock(critical_section);
    video_type = ComPtr<IMFMediaType>(video);
    audio_type = ComPtr<IMFMediaType>(audio);
}

void MFMemorySource::SetStartedEvent(HANDLE event) {
    const CriticalSectionLock lock(critical_section);
    started_event = event;
}

void MFMemorySource::SetCounters(bool video, const BlockCounters& of_medium) {
    blocks.SetCounters(video, of_medium);
}

HRESULT MFMemorySource::BuildStreams() {
    const CriticalSectionLock lock(critical_section);
    HRESULT hr = CheckShutdown();
    if (FAILED(hr)) return hr;
    // Kept: a stream that cannot be made is left out, because a recording of the other one is
    // better than none.
    if (video_type) MakeStream(video_type.Get(), true, video_stream);
    if (audio_type) MakeStream(audio_type.Get(), false, audio_stream);
    std::vector<IMFStreamDescriptor*> descriptors;
    for (const auto& stream : streams) descriptors.push_back(stream->Descriptor().Get());
    const auto count = static_cast<DWORD>(descriptors.size());
    hr = MFCreatePresentationDescriptor(count, descriptors.data(), presentation_descriptor.Put());
    if (FAILED(hr)) return hr;
    // Kept: only the last selection's result counts; a recorder does not look at it.
    for (DWORD i = 0; i < count; ++i) hr = presentation_descriptor->SelectStream(i);
    return hr;
}

HRESULT MFMemorySource::MakeStream(IMFMediaType* type, bool video, MFMemoryStream*& stream) {
    ComPtr<IMFStreamDescriptor> descriptor;
    HRESULT hr =
        MFCreateStreamDescriptor(static_cast<DWORD>(streams.size()), 1, &type, descriptor.Put());
    if (FAILED(hr)) return hr;
    ComPtr<IMFMediaTypeHandler> handler;
    hr = descriptor->GetMediaTypeHandler(handler.Put());
    if (FAILED(hr)) return hr;
    hr = handler->SetCurrentMediaType(type);
    if (FAILED(hr)) return hr;
    ComPtr<IMFMediaEventQueue> events;
    hr = MFCreateEventQueue(events.Put());
    if (FAILED(hr)) return hr;
    ComPtr<MFMemoryStream> made;
    made.Attach(new (std::nothrow) MFMemoryStream(this, section, descriptor.Get(), events.Get()));
    if (!made) return E_OUTOFMEMORY;
    made->SetVideo(video);
    stream = made.Get();
    streams.push_back(std::move(made));
    return S_OK;
}

HRESULT MFMemorySource::QueueOperationOf(SourceOp::Operation operation) {
    ComPtr<SourceOp> queued;
    queued.Attach(new (std::nothrow) SourceOp(operation));
    return queued ? QueueOperation(queued.Get()) : E_OUTOFMEMORY;
}

HRESULT MFMemorySource::ValidateOperation(SourceOp*) {
    return current_op ? MF_E_NOTACCEPTING : S_OK;
}

HRESULT MFMemorySource::DispatchOperation(SourceOp* operation) {
    HRESULT hr = E_UNEXPECTED;
    if (current_op) {
        hr = E_FAIL;
    } else {
        switch (operation->Op()) {
            case SourceOp::OP_START:
                hr = DoStart(static_cast<StartOp*>(operation));
                break;
            case SourceOp::OP_PAUSE:
                hr = DoPause();
                break;
            case SourceOp::OP_STOP:
                hr = DoStop();
                break;
            case SourceOp::OP_REQUEST_DATA:
                hr = DoRequestData(operation);
                break;
            case SourceOp::OP_END_OF_STREAM:
                hr = DoEndOfStream(operation);
                break;
        }
        const HRESULT completed = CompleteOperation(operation);
        if (SUCCEEDED(hr)) hr = completed;
    }
    if (FAILED(hr) && state != STATE_SHUT_DOWN) QueueEvent(MEError, GUID_NULL, hr, nullptr);
    return hr;
}

HRESULT MFMemorySource::CompleteOperation(SourceOp* operation) {
    if (current_op.Get() == operation) current_op.Reset();
    return ProcessQueue();
}

HRESULT MFMemorySource::DoStart(StartOp* operation) {
    current_op = ComPtr<SourceOp>(operation);
    HRESULT hr = operation->PresentationDescriptor()
                     ? SelectStreams(operation->PresentationDescriptor(), operation->Data())
                     : MF_E_INVALIDREQUEST;
    if (SUCCEEDED(hr)) {
        state = STATE_STARTED;
        hr = event_queue->QueueEventParamVar(MESourceStarted, GUID_NULL, S_OK, &operation->Data());
    }
    if (FAILED(hr)) event_queue->QueueEventParamVar(MESourceStarted, GUID_NULL, hr, nullptr);
    return hr;
}

HRESULT MFMemorySource::SelectStreams(IMFPresentationDescriptor* descriptor,
                                      const PROPVARIANT& position) {
    active_streams = 0;
    DWORD count = 0;
    HRESULT hr = descriptor->GetStreamDescriptorCount(&count);
    for (DWORD i = 0; SUCCEEDED(hr) && i < count; ++i) {
        BOOL selected = FALSE;
        ComPtr<IMFStreamDescriptor> described;
        hr = descriptor->GetStreamDescriptorByIndex(i, &selected, described.Put());
        if (FAILED(hr)) break;
        DWORD id = 0;
        hr = described->GetStreamIdentifier(&id);
        if (FAILED(hr)) break;
        if (id >= streams.size()) return E_INVALIDARG;
        MFMemoryStream* const stream = streams[id].Get();
        const bool was_active = stream->IsActive();
        stream->Activate(selected != FALSE);
        if (!selected) continue;
        ++active_streams;
        hr = event_queue->QueueEventParamUnk(was_active ? MEUpdatedStream : MENewStream, GUID_NULL,
                                             S_OK, static_cast<IMFMediaStream*>(stream));
        if (SUCCEEDED(hr)) hr = stream->Start(position);
    }
    return hr;
}

HRESULT MFMemorySource::DoPause() {
    HRESULT hr = state == STATE_STARTED ? S_OK : MF_E_INVALID_STATE_TRANSITION;
    if (SUCCEEDED(hr)) {
        for (const auto& stream : streams) {
            if (stream->IsActive() && SUCCEEDED(hr)) hr = stream->Pause();
        }
        state = STATE_PAUSED;
    }
    event_queue->QueueEventParamVar(MESourcePaused, GUID_NULL, hr, nullptr);
    return hr;
}

HRESULT MFMemorySource::DoStop() {
    HRESULT hr = S_OK;
    for (const auto& stream : streams) {
        if (stream->IsActive() && SUCCEEDED(hr)) hr = stream->Stop();
    }
    pump_op.Reset();
    state = STATE_STOPPED;
    event_queue->QueueEventParamVar(MESourceStopped, GUID_NULL, hr, nullptr);
    return hr;
}

HRESULT MFMemorySource::DoRequestData(SourceOp* operation) {
    current_op = ComPtr<SourceOp>(operation);
    if (pump_op) return S_OK;
    PROPVARIANT value;
    PropVariantInit(&value);
    value.vt = VT_UI4;
    value.ulVal = 0;
    const HRESULT hr = operation->SetData(value);
    if (FAILED(hr)) return hr;
    pump_op = ComPtr<SourceOp>(operation);
    return Pump();
}

HRESULT MFMemorySource::DoEndOfStream(SourceOp* operation) {
    current_op = ComPtr<SourceOp>(operation);
    if (--active_streams != 0) return S_OK;
    return event_queue->QueueEventParamVar(MEEndOfPresentation, GUID_NULL, S_OK, nullptr);
}

HRESULT MFMemorySource::Pump() {
    if (started_event) {
        SetEvent(started_event);
        started_event = nullptr;
    }
    for (;;) {
        bool wanted = false;
        if (state != STATE_SHUT_DOWN) {
            for (const auto& stream : streams) wanted = wanted || stream->NeedsData();
        }
        if (!wanted) {
            pump_op.Reset();
            return S_OK;
        }
        if (std::any_of(streams.begin(), streams.end(),
                        [](const auto& stream) { return stream->IsFull(); })) {
            // Not with the section: the pipeline could not take what is there, and all that comes
            // would pile up, pictures of megabytes beside sound that is slower or does not come.
            critical_section.Leave();
            blocks.Wait();
            critical_section.Enter();
            if (state == STATE_SHUT_DOWN) continue;
        }
        const std::unique_ptr<sample_record> record = blocks.Take();
        if (record) {
            const HRESULT hr = DeliverRecord(*record);
            if (SUCCEEDED(hr)) continue;
            // Kept: pump_op stays, so that nothing more is fetched after a failure.
            blocks.Abandon();
            return hr;
        }
        for (const auto& stream : streams) {
            if (stream->IsActive()) stream->EndOfStream();
        }
    }
}

HRESULT MFMemorySource::DeliverRecord(const sample_record& record) {
    MFMemoryStream* const stream = record.video ? video_stream : audio_stream;
    ComPtr<IMFSample> sample;
    HRESULT hr = stream ? MakeSample(record, sample) : E_FAIL;
    if (SUCCEEDED(hr)) hr = stream->Deliver(sample.Get());
    blocks.CountDelivered(record, SUCCEEDED(hr));
    return hr;
}

}  // namespace Vimbrel

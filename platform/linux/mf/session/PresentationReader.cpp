#include "platform/linux/mf/session/PresentationReader.h"

#include <mfapi.h>

#include <algorithm>
#include <new>

#include "platform/linux/mf/objects/PropertyValue.h"
#include "platform/linux/mf/queue/FunctionCallback.h"

namespace Vimbrel {

namespace {

template <class Interface>
ComPtr<Interface> InterfaceIn(const PROPVARIANT& value) {
    return value.vt == VT_UNKNOWN ? ComPtr<IUnknown>(value.punkVal).As<Interface>()
                                  : ComPtr<Interface>();
}

}  // namespace

PresentationReader::PresentationReader(ComPtr<IMFMediaSource> source,
                                       ComPtr<IMFPresentationDescriptor> presentation,
                                       const std::vector<DWORD>& streams)
    : source_(std::move(source)), presentation_(std::move(presentation)) {
    for (const DWORD identifier : streams)
        tracks_.push_back({.identifier = identifier, .stream = {}});
}

HRESULT PresentationReader::Start(ComPtr<IUnknown> keeper, Listener& listener) {
    {
        const MutexLock guard(lock_);
        audience_ = {std::move(keeper), &listener};
    }
    return Put([](PresentationReader& self, IMFAsyncResult*) { self.StartSource(); });
}

void PresentationReader::StartSource() {
    const ComPtr<IMFMediaSource> source = Source();
    if (!source) return;
    const PROPVARIANT present_position{};
    HRESULT hr = ListenTo(source.Get());
    if (SUCCEEDED(hr)) hr = source->Start(presentation_.Get(), &GUID_NULL, &present_position);
    const Audience audience = CurrentAudience();
    if (FAILED(hr) && audience.listener) audience.listener->OnStarted(hr);
}

void PresentationReader::Request(std::size_t track) {
    const HRESULT hr =
        Put([track](PresentationReader& self, IMFAsyncResult*) { self.RequestNow(track); });
    // Without the next request the track would end in silence.
    if (hr == E_OUTOFMEMORY) Fail(hr);
}

void PresentationReader::RequestNow(std::size_t track) {
    const HeldStream held = Stream(track);
    if (!held.stream) return;
    const HRESULT hr = held.stream->RequestSample(nullptr);
    // The end may have been on its way already; its event comes.
    if (FAILED(hr) && hr != MF_E_END_OF_STREAM) Fail(hr);
}

void PresentationReader::TakeSourceEvent(IMFAsyncResult* result) {
    const ComPtr<IMFMediaSource> source = Source();
    if (!source) return;
    ComPtr<IMFMediaEvent> event;
    bool last = false;
    HRESULT hr = source->EndGetEvent(result, event.Put());
    if (SUCCEEDED(hr)) hr = HandleSourceEvent(*event.Get(), last);
    if (SUCCEEDED(hr) && !last) hr = ListenTo(source.Get());
    if (FAILED(hr)) Fail(hr);
}

HRESULT PresentationReader::HandleSourceEvent(IMFMediaEvent& event, bool& last) {
    MediaEventType type = MEUnknown;
    HRESULT status = S_OK;
    PropertyValue value;
    HRESULT hr = event.GetType(&type);
    if (SUCCEEDED(hr)) hr = event.GetStatus(&status);
    if (SUCCEEDED(hr)) hr = event.GetValue(value.Put());
    if (FAILED(hr)) return hr;
    if (type == MESourceStarted) {
        const Audience audience = CurrentAudience();
        if (audience.listener) audience.listener->OnStarted(status);
        return S_OK;
    }
    if (FAILED(status)) {
        // Some sources report a request that races with the end of stream as an error; ignore it.
        if (status != MF_E_END_OF_STREAM) Fail(status);
        return S_OK;
    }
    switch (type) {
        case MENewStream:
        case MEUpdatedStream:
            return AddStream(value.Get());
        case MEEndOfPresentation: {
            last = true;
            const MutexLock guard(lock_);
            presentation_ended_ = true;
            break;
        }
        case MEError:
            return E_UNEXPECTED;  // without a failure
        default:
            return S_OK;
    }
    CheckEnd();
    return S_OK;
}

HRESULT PresentationReader::AddStream(const PROPVARIANT& value) {
    const ComPtr<IMFMediaStream> stream = InterfaceIn<IMFMediaStream>(value);
    if (!stream) return E_UNEXPECTED;
    ComPtr<IMFStreamDescriptor> descriptor;
    DWORD identifier = 0;
    HRESULT hr = stream->GetStreamDescriptor(descriptor.Put());
    if (SUCCEEDED(hr)) hr = descriptor->GetStreamIdentifier(&identifier);
    if (FAILED(hr)) return hr;
    std::size_t track = 0;
    {
        const MutexLock guard(lock_);
        if (!source_) return S_OK;
        while (track < tracks_.size() && tracks_[track].identifier != identifier) ++track;
        if (track == tracks_.size() || tracks_[track].stream) return S_OK;
        tracks_[track].stream = stream;
    }
    return ListenTo(stream.Get(), track);
}

void PresentationReader::TakeStreamEvent(std::size_t track, IMFAsyncResult* result) {
    const HeldStream held = Stream(track);
    if (!held.stream) return;
    ComPtr<IMFMediaEvent> event;
    bool last = false;
    HRESULT hr = held.stream->EndGetEvent(result, event.Put());
    if (SUCCEEDED(hr)) hr = HandleStreamEvent(track, *event.Get(), last);
    event.Reset();  // with its sample, which is encoded by now or waits elsewhere
    if (SUCCEEDED(hr) && !last) hr = ListenTo(held.stream.Get(), track);
    if (FAILED(hr)) Fail(hr);
}

HRESULT PresentationReader::HandleStreamEvent(std::size_t track, IMFMediaEvent& event, bool& last) {
    MediaEventType type = MEUnknown;
    HRESULT status = S_OK;
    HRESULT hr = event.GetType(&type);
    if (SUCCEEDED(hr)) hr = event.GetStatus(&status);
    if (FAILED(hr)) return hr;
    if (FAILED(status)) {
        Fail(status);
        return S_OK;
    }
    switch (type) {
        case MEStreamStarted:
            RequestNow(track);
            return S_OK;
        case MEMediaSample: {
            PropertyValue value;
            hr = event.GetValue(value.Put());
            if (FAILED(hr)) return hr;
            ComPtr<IMFSample> sample = InterfaceIn<IMFSample>(value.Get());
            if (!sample) return E_UNEXPECTED;
            const Audience audience = CurrentAudience();
            if (audience.listener) audience.listener->OnSample(track, std::move(sample));
            return S_OK;
        }
        case MEEndOfStream: {
            last = true;
            const MutexLock guard(lock_);
            if (track < tracks_.size()) tracks_[track].ended = true;
            break;
        }
        default:
            return S_OK;
    }
    CheckEnd();
    return S_OK;
}

// The end of the presentation may be noticed before the last samples of its streams are. If all
// streams have ended there is nothing more to come, with that event or without.
void PresentationReader::CheckEnd() {
    Audience audience;
    {
        const MutexLock guard(lock_);
        const bool presentation_ended = presentation_ended_;
        const bool all_ended =
            std::all_of(tracks_.begin(), tracks_.end(), [presentation_ended](const Track& track) {
                return track.ended || (presentation_ended && !track.stream);
            });
        if (!all_ended || end_told_) return;
        end_told_ = true;
        audience = audience_;
    }
    if (audience.listener) audience.listener->OnPresentationEnded();
}

HRESULT PresentationReader::ListenTo(IMFMediaSource* source) {
    ComPtr<IMFAsyncCallback> callback;
    const HRESULT hr = MakeCallback(
        [](PresentationReader& self, IMFAsyncResult* result) { self.TakeSourceEvent(result); },
        callback);
    return FAILED(hr) ? hr : source->BeginGetEvent(callback.Get(), nullptr);
}

HRESULT PresentationReader::ListenTo(IMFMediaStream* stream, std::size_t track) {
    ComPtr<IMFAsyncCallback> callback;
    const HRESULT hr =
        MakeCallback([track](PresentationReader& self,
                             IMFAsyncResult* result) { self.TakeStreamEvent(track, result); },
                     callback);
    return FAILED(hr) ? hr : stream->BeginGetEvent(callback.Get(), nullptr);
}

// What runs out of memory in the call fails the source's part of the recording: nobody is above a
// work item to catch it.
HRESULT PresentationReader::MakeCallback(Call call, ComPtr<IMFAsyncCallback>& callback) {
    auto guarded = [self = ComPtr(this), call = std::move(call)](IMFAsyncResult* result) {
        try {
            call(*self.Get(), result);
        } catch (const std::bad_alloc&) {
            self->Fail(E_OUTOFMEMORY);
        }
    };
    return CreateCom<FunctionCallback>(callback.Put(), std::move(guarded));
}

HRESULT PresentationReader::Put(Call call) {
    ComPtr<IMFAsyncCallback> callback;
    const HRESULT hr = MakeCallback(std::move(call), callback);
    if (FAILED(hr)) return hr;
    return MFPutWorkItem(MFASYNC_CALLBACK_QUEUE_STANDARD, callback.Get(), nullptr);
}

void PresentationReader::Fail(HRESULT result) {
    const Audience audience = CurrentAudience();
    if (audience.listener) audience.listener->OnSourceFailed(result);
}

void PresentationReader::Detach() {
    // The source lets go of the callbacks that it holds when it is shut down, and they of the
    // reader; without these references nothing leads back to the source.
    ComPtr<IMFMediaSource> source;
    std::vector<Track> tracks;
    Audience audience;
    const MutexLock guard(lock_);
    source = std::move(source_);
    tracks.swap(tracks_);
    std::swap(audience, audience_);
}

ComPtr<IMFMediaSource> PresentationReader::Source() {
    const MutexLock guard(lock_);
    return source_;
}

PresentationReader::HeldStream PresentationReader::Stream(std::size_t track) {
    const MutexLock guard(lock_);
    return track < tracks_.size() ? HeldStream{source_, tracks_[track].stream} : HeldStream();
}

PresentationReader::Audience PresentationReader::CurrentAudience() {
    const MutexLock guard(lock_);
    return audience_;
}

}  // namespace Vimbrel

// Reads the selected streams of a media source, as fast as its owner asks for samples.
//
// Every call into the source is made from a work item, where it may block for as long as it likes:
// a live source keeps its lock while it waits for the application's next frame. Detach does not
// wait for those items. They hold the reader, and what they find out afterwards is dropped.
#pragma once

#include <mfidl.h>

#include <functional>
#include <vector>

#include "base/ThreadSafety.h"
#include "com/ComObject.h"

namespace Vimbrel {

class PresentationReader final : public ComObject<Implements<IUnknown>> {
public:
    // Called without a lock, from work items; for one track in the order of its samples, for
    // several side by side.
    class Listener {
    public:
        // The source has started, or could not.
        virtual void OnStarted(HRESULT result) = 0;
        virtual void OnSample(std::size_t track, ComPtr<IMFSample> sample) = 0;
        // All samples of all tracks have been given.
        virtual void OnPresentationEnded() = 0;
        virtual void OnSourceFailed(HRESULT result) = 0;

    protected:
        ~Listener() = default;
    };

    // `streams` are the identifiers of the selected streams of the presentation, which are the
    // tracks.
    PresentationReader(ComPtr<IMFMediaSource> source,
                       ComPtr<IMFPresentationDescriptor> presentation,
                       const std::vector<DWORD>& streams);

    // `keeper` holds the listener. Starts the source; a sample of each stream is asked for when it
    // has started.
    HRESULT Start(ComPtr<IUnknown> keeper, Listener& listener);
    // Asks for the track's next sample.
    void Request(std::size_t track);
    // The listener is not called again but by calls that are under way, which keep it alive. The
    // references on the source and its streams are given back.
    void Detach();

private:
    struct Track {
        DWORD identifier = 0;
        ComPtr<IMFMediaStream> stream;  // from MENewStream on
        bool ended = false;
    };
    // Whom to tell; empty after Detach.
    struct Audience {
        ComPtr<IUnknown> keeper;
        Listener* listener = nullptr;
    };

    // For the length of a call: streams need not keep their source alive.
    struct HeldStream {
        ComPtr<IMFMediaSource> source;
        ComPtr<IMFMediaStream> stream;  // null if there is none
    };

    using Call = std::function<void(PresentationReader& self, IMFAsyncResult* result)>;

    HRESULT MakeCallback(Call call, ComPtr<IMFAsyncCallback>& callback);
    HRESULT Put(Call call);
    void StartSource();
    void TakeSourceEvent(IMFAsyncResult* result);
    HRESULT HandleSourceEvent(IMFMediaEvent& event, bool& last);
    HRESULT AddStream(const PROPVARIANT& value);
    void TakeStreamEvent(std::size_t track, IMFAsyncResult* result);
    HRESULT HandleStreamEvent(std::size_t track, IMFMediaEvent& event, bool& last);
    HRESULT ListenTo(IMFMediaSource* source);
    HRESULT ListenTo(IMFMediaStream* stream, std::size_t track);
    void RequestNow(std::size_t track);
    void CheckEnd();
    void Fail(HRESULT result);

    ComPtr<IMFMediaSource> Source();
    HeldStream Stream(std::size_t track);
    Audience CurrentAudience();

    Mutex lock_;
    ComPtr<IMFMediaSource> source_ GUARDED_BY(lock_);
    const ComPtr<IMFPresentationDescriptor> presentation_;
    std::vector<Track> tracks_ GUARDED_BY(lock_);
    Audience audience_ GUARDED_BY(lock_);
    bool presentation_ended_ GUARDED_BY(lock_) = false;
    bool end_told_ GUARDED_BY(lock_) = false;
};

}  // namespace Vimbrel

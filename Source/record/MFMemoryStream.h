// One stream of an MFMemorySource: serves requests with the samples that the source puts in.
#pragma once

#include <mfidl.h>

#include <memory>

#include "base/CriticalSectionLock.h"
#include "com/ComPtr.h"
#include "com/ComPtrList.h"
#include "com/RefCountedObject.h"

namespace Vimbrel {

class MFMemorySource;

// The source and its streams share one critical section, which guards everything here. The pipeline
// may keep a stream longer than the source: the section lives as long as either, and the source is
// only touched until Shutdown.
// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class MFMemoryStream final : public RefCountedObject, public IMFMediaStream {
public:
    enum State : std::int32_t {
        STATE_STOPPED = 0,
        STATE_PAUSED = 1,
        STATE_STARTED = 2,
        STATE_SHUT_DOWN = 3
    };

    // How many samples wait for requests before the source is asked for no more.
    static constexpr std::size_t samples_ahead = 2;
    // With so many the stream is full: the source fetches more only because another one waits.
    static constexpr std::size_t most_samples = 8;

    MFMemoryStream(MFMemorySource* owner, std::shared_ptr<CriticalSection> section,
                   IMFStreamDescriptor* described, IMFMediaEventQueue* events);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return RefCountedObject::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return RefCountedObject::Release(); }

    HRESULT STDMETHODCALLTYPE GetEvent(DWORD flags, IMFMediaEvent** event) override;
    HRESULT STDMETHODCALLTYPE BeginGetEvent(IMFAsyncCallback* callback,
                                            IUnknown* call_state) override;
    HRESULT STDMETHODCALLTYPE EndGetEvent(IMFAsyncResult* result, IMFMediaEvent** event) override;
    HRESULT STDMETHODCALLTYPE QueueEvent(MediaEventType type, REFGUID extended, HRESULT status,
                                         const PROPVARIANT* value) override;

    HRESULT STDMETHODCALLTYPE GetMediaSource(IMFMediaSource** result) override;
    HRESULT STDMETHODCALLTYPE GetStreamDescriptor(IMFStreamDescriptor** result) override;
    HRESULT STDMETHODCALLTYPE RequestSample(IUnknown* token) override;

    // For the source.
    void SetVideo(bool video);
    ComPtr<IMFStreamDescriptor> Descriptor() const;
    bool IsActive() const;
    bool NeedsData() const;
    bool IsFull() const;
    void Activate(bool on);
    HRESULT Start(const PROPVARIANT& position);
    HRESULT Pause();
    HRESULT Stop();
    HRESULT Deliver(IMFSample* sample);
    HRESULT EndOfStream();
    void Shutdown();

private:
    ~MFMemoryStream() override = default;

    HRESULT CheckShutdown() const REQUIRES(*critical_section);
    bool WantsSamples() const REQUIRES(*critical_section) {
        return active && !end_of_stream && samples.Count() < samples_ahead;
    }
    // Serves requests as far as there are samples. Failures go to the source as an event, and never
    // to the caller.
    HRESULT Dispatch() REQUIRES(*critical_section);
    HRESULT ServeRequests() REQUIRES(*critical_section);
    void ReportError(HRESULT status) REQUIRES(*critical_section);

    const std::shared_ptr<CriticalSection> critical_section;
    MFMemorySource* source GUARDED_BY(*critical_section);  // not counted
    ComPtr<IMFStreamDescriptor> descriptor GUARDED_BY(*critical_section);
    ComPtr<IMFMediaEventQueue> event_queue GUARDED_BY(*critical_section);
    State state GUARDED_BY(*critical_section) = STATE_STOPPED;
    BOOL active GUARDED_BY(*critical_section) = FALSE;  // selected in the presentation
    BOOL end_of_stream GUARDED_BY(*critical_section) = FALSE;
    ComPtrList<IMFSample, false> samples GUARDED_BY(*critical_section);
    ComPtrList<IUnknown, true> requests GUARDED_BY(*critical_section);
    bool is_video GUARDED_BY(*critical_section) = true;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

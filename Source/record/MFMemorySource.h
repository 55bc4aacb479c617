// A media source that is pushed: the recorder puts blocks in, and the platform's pipeline pulls
// samples out.
#pragma once

#include <mfidl.h>
#include <windows.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "Source/record/MFMemoryStream.h"
#include "Source/record/OpQueue.h"
#include "Source/record/RecordQueue.h"
#include "Source/record/SourceOp.h"
#include "com/ComPtr.h"
#include "com/RefCountedObject.h"

namespace Vimbrel {

// The platform must be started (MFStartup) as long as one exists.
//
// Locks: the critical section guards source and streams. An operation holds it from beginning to
// end, and the operation that fetches data waits in it for the next block, unless a stream is full.
// Meanwhile every call but SetSample waits with it. The queue of blocks has a lock of its own,
// which is taken last and never held while anything else is called.
//
// Before Shutdown a block of size 0 must have come, or Shutdown waits for ever.
//
// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class MFMemorySource final : private RefCountedObject,
                             public OpQueue<SourceOp>,
                             public IMFMediaSource {
public:
    enum State : std::int32_t {
        STATE_STOPPED = 0,
        STATE_PAUSED = 1,
        STATE_STARTED = 2,
        STATE_SHUT_DOWN = 3
    };

    MFMemorySource();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return RefCountedObject::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return RefCountedObject::Release(); }

    HRESULT STDMETHODCALLTYPE GetEvent(DWORD flags, IMFMediaEvent** event) override;
    HRESULT STDMETHODCALLTYPE BeginGetEvent(IMFAsyncCallback* callback,
                                            IUnknown* call_state) override;
    HRESULT STDMETHODCALLTYPE EndGetEvent(IMFAsyncResult* result, IMFMediaEvent** event) override;
    HRESULT STDMETHODCALLTYPE QueueEvent(MediaEventType type, REFGUID extended, HRESULT status,
                                         const PROPVARIANT* value) override;

    HRESULT STDMETHODCALLTYPE GetCharacteristics(DWORD* characteristics) override;
    HRESULT STDMETHODCALLTYPE
    CreatePresentationDescriptor(IMFPresentationDescriptor** descriptor) override;
    HRESULT STDMETHODCALLTYPE Start(IMFPresentationDescriptor* descriptor, const GUID* time_format,
                                    const PROPVARIANT* position) override;
    HRESULT STDMETHODCALLTYPE Stop() override;
    HRESULT STDMETHODCALLTYPE Pause() override;
    HRESULT STDMETHODCALLTYPE Shutdown() override;

    // Before BuildStreams; either may be null, and then there is no such stream.
    void SetTypes(IMFMediaType* video, IMFMediaType* audio);
    HRESULT BuildStreams();
    // Signalled when the first block is asked for. Not owned.
    void SetStartedEvent(HANDLE event);
    // Where the blocks of a medium are counted until Shutdown. Not owned.
    void SetCounters(bool video, const BlockCounters& of_medium);

    // Copies `size` bytes into the queue. Size 0 is the end of all streams: it drops what still
    // waits, and later blocks are refused. Never waits and never throws.
    void SetSample(bool video, const void* data, unsigned size, unsigned, unsigned,
                   std::int64_t time, std::int64_t duration) noexcept {
        blocks.Push(video, data, size, time, duration);
    }

    // For the streams.
    HRESULT QueueOperationOf(SourceOp::Operation operation);

private:
    explicit MFMemorySource(std::shared_ptr<CriticalSection> section);
    ~MFMemorySource() override;

    HRESULT DispatchOperation(SourceOp* operation) override REQUIRES(critical_section);
    HRESULT ValidateOperation(SourceOp* operation) override REQUIRES(critical_section);

    HRESULT CheckShutdown() const REQUIRES(critical_section);
    HRESULT MakeStream(IMFMediaType* type, bool video, MFMemoryStream*& stream)
        REQUIRES(critical_section);
    HRESULT DoStart(StartOp* operation) REQUIRES(critical_section);
    HRESULT DoPause() REQUIRES(critical_section);
    HRESULT DoStop() REQUIRES(critical_section);
    HRESULT DoRequestData(SourceOp* operation) REQUIRES(critical_section);
    HRESULT DoEndOfStream(SourceOp* operation) REQUIRES(critical_section);
    HRESULT SelectStreams(IMFPresentationDescriptor* descriptor, const PROPVARIANT& position)
        REQUIRES(critical_section);
    HRESULT CompleteOperation(SourceOp* operation) REQUIRES(critical_section);
    HRESULT Pump() REQUIRES(critical_section);
    HRESULT DeliverRecord(const sample_record& record) REQUIRES(critical_section);

    const std::shared_ptr<CriticalSection> section;  // what critical_section refers to
    ComPtr<IMFMediaType> audio_type GUARDED_BY(critical_section);
    ComPtr<IMFMediaType> video_type GUARDED_BY(critical_section);
    State state GUARDED_BY(critical_section) = STATE_STOPPED;
    ComPtr<IMFMediaEventQueue> event_queue GUARDED_BY(critical_section);
    ComPtr<IMFPresentationDescriptor> presentation_descriptor GUARDED_BY(critical_section);
    // By identifier.
    std::vector<ComPtr<MFMemoryStream>> streams GUARDED_BY(critical_section);
    MFMemoryStream* video_stream GUARDED_BY(critical_section) = nullptr;
    MFMemoryStream* audio_stream GUARDED_BY(critical_section) = nullptr;
    std::int32_t active_streams GUARDED_BY(critical_section) = 0;
    ComPtr<SourceOp> current_op GUARDED_BY(critical_section);
    ComPtr<SourceOp> pump_op GUARDED_BY(critical_section);
    HANDLE started_event GUARDED_BY(critical_section) = nullptr;
    RecordQueue blocks;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

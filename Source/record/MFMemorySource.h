// A media source that is pushed: the recorder puts blocks in, the platform's pipeline pulls samples
// out.
#pragma once

#include <mfidl.h>
#include <windows.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include "Source/record/MFMemoryStream.h"
#include "Source/record/OpQueue.h"
#include "Source/record/SourceOp.h"
#include "Source/record/sample_record.h"
#include "com/ComPtr.h"
#include "com/RefCountedObject.h"

namespace Vimbrel {

struct BlockCounters {
    std::atomic<std::uint64_t>* delivered = nullptr;  // have left the queue for their stream
    std::atomic<std::uint64_t>* dropped = nullptr;
};

// The platform must be started (MFStartup) as long as one exists.
//
// Locks: the critical section guards source and streams, and an operation holds it from beginning
// to end. The operation that fetches data waits in it for the next block, and meanwhile every call
// but SetSample waits with it. `mutex` guards `pending` only. Order: critical section, then mutex.
// Before Shutdown a block of size 0 must have come, or Shutdown waits for ever.
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

    // Copies `size` bytes into the queue. With size 0 it is the end of all streams, and drops what
    // still waits. Never waits.
    void SetSample(bool video, const void* data, unsigned size, unsigned, unsigned,
                   std::int64_t time, std::int64_t duration);

    // For the streams, with the section held.
    HRESULT QueueOperationOf(SourceOp::Operation operation);

private:
    explicit MFMemorySource(std::shared_ptr<CriticalSection> section);
    ~MFMemorySource() override;

    HRESULT DispatchOperation(SourceOp* operation) override;
    HRESULT ValidateOperation(SourceOp* operation) override;

    HRESULT CheckShutdown() const;
    HRESULT MakeStream(IMFMediaType* type, bool video, MFMemoryStream*& stream);
    HRESULT DoStart(StartOp* operation);
    HRESULT DoPause();
    HRESULT DoStop();
    HRESULT DoRequestData(SourceOp* operation);
    HRESULT DoEndOfStream(SourceOp* operation);
    HRESULT SelectStreams(IMFPresentationDescriptor* descriptor, const PROPVARIANT& position);
    HRESULT CompleteOperation(SourceOp* operation);
    HRESULT Pump();
    HRESULT DeliverRecord(const sample_record& record);
    std::unique_ptr<sample_record> WaitForRecord();
    // Both with the mutex held.
    void Count(const sample_record& record, bool delivered);
    void DropBlocks();  // all of `pending` but the end

    const std::shared_ptr<CriticalSection> section;
    // What follows is guarded by the section, but for what has another lock beside it.
    ComPtr<IMFMediaType> audio_type;
    ComPtr<IMFMediaType> video_type;
    State state = STATE_STOPPED;
    ComPtr<IMFMediaEventQueue> event_queue;
    ComPtr<IMFPresentationDescriptor> presentation_descriptor;
    std::vector<ComPtr<MFMemoryStream>> streams;  // by identifier
    MFMemoryStream* video_stream = nullptr;
    MFMemoryStream* audio_stream = nullptr;
    std::int32_t active_streams = 0;
    ComPtr<SourceOp> current_op;
    ComPtr<SourceOp> pump_op;
    std::deque<std::unique_ptr<sample_record>> pending;  // guarded by mutex; no limit by design
    std::condition_variable record_ready;
    std::mutex mutex;
    HANDLE started_event = nullptr;
    BlockCounters counters[2];  // of sound and of picture; guarded by mutex
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

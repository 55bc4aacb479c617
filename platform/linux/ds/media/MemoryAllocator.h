// A fixed number of samples in one block of memory.
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "base/ThreadSafety.h"
#include "com/ComObject.h"
#include "platform/linux/ds/media/MediaSample.h"

namespace Vimbrel {

// Nothing is allocated between Commit and Decommit. A sample that is out keeps the allocator; the
// memory goes with the last of them. Any thread; its lock is a leaf.
class MemoryAllocator final : public ComObject<Implements<IMemAllocator>> {
public:
    // A committed allocator, or one with samples out, refuses.
    HRESULT STDMETHODCALLTYPE SetProperties(ALLOCATOR_PROPERTIES* request,
                                            ALLOCATOR_PROPERTIES* actual) override;
    HRESULT STDMETHODCALLTYPE GetProperties(ALLOCATOR_PROPERTIES* properties) override;
    HRESULT STDMETHODCALLTYPE Commit() override;
    // Frees the threads that wait for a sample.
    HRESULT STDMETHODCALLTYPE Decommit() override;
    // Waits for a sample, or with AM_GBF_NOWAIT returns VFW_E_TIMEOUT. The times are not used.
    HRESULT STDMETHODCALLTYPE GetBuffer(IMediaSample** sample, REFERENCE_TIME* start,
                                        REFERENCE_TIME* end, DWORD flags) override;
    // By a sample whose last reference is gone.
    HRESULT STDMETHODCALLTYPE ReleaseBuffer(IMediaSample* sample) override;

private:
    HRESULT Allocate() REQUIRES(lock_);
    void Free() REQUIRES(lock_);

    Mutex lock_;
    Condition returned_;
    ALLOCATOR_PROPERTIES properties_ GUARDED_BY(lock_){};
    bool committed_ GUARDED_BY(lock_) = false;
    std::unique_ptr<BYTE[]> memory_ GUARDED_BY(lock_);
    std::deque<MediaSample> samples_ GUARDED_BY(lock_);  // a deque: they do not move
    std::vector<MediaSample*> free_ GUARDED_BY(lock_);
};

HRESULT CreateMemoryAllocator(REFIID iid, void** object);

}  // namespace Vimbrel

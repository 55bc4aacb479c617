// A piece of a stream in the memory of its allocator.
#pragma once

#include <atomic>
#include <optional>

#include "filters/FilterNames.h"

namespace Vimbrel {

class MemoryAllocator;

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Returns to its allocator with the last reference. Used by one thread at a time.
class MediaSample final : public IMediaSample {
public:
    MediaSample(MemoryAllocator& allocator, BYTE* data, LONG size)
        : allocator_(allocator), data_(data), size_(size) {}
    ~MediaSample();
    MediaSample(const MediaSample&) = delete;
    MediaSample& operator=(const MediaSample&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE GetPointer(BYTE** buffer) override;
    LONG STDMETHODCALLTYPE GetSize() override { return size_; }
    // VFW_E_SAMPLE_TIME_NOT_SET without a time. An unset end is a unit after the start, with a
    // success of its own.
    HRESULT STDMETHODCALLTYPE GetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) override;
    HRESULT STDMETHODCALLTYPE SetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) override;
    HRESULT STDMETHODCALLTYPE IsSyncPoint() override { return sync_point_ ? S_OK : S_FALSE; }
    HRESULT STDMETHODCALLTYPE SetSyncPoint(BOOL value) override;
    HRESULT STDMETHODCALLTYPE IsPreroll() override { return preroll_ ? S_OK : S_FALSE; }
    HRESULT STDMETHODCALLTYPE SetPreroll(BOOL value) override;
    LONG STDMETHODCALLTYPE GetActualDataLength() override { return length_; }
    HRESULT STDMETHODCALLTYPE SetActualDataLength(LONG length) override;
    HRESULT STDMETHODCALLTYPE GetMediaType(AM_MEDIA_TYPE** type) override;
    HRESULT STDMETHODCALLTYPE SetMediaType(AM_MEDIA_TYPE* type) override;
    HRESULT STDMETHODCALLTYPE IsDiscontinuity() override { return discontinuity_ ? S_OK : S_FALSE; }
    HRESULT STDMETHODCALLTYPE SetDiscontinuity(BOOL value) override;
    HRESULT STDMETHODCALLTYPE GetMediaTime(LONGLONG* start, LONGLONG* end) override;
    HRESULT STDMETHODCALLTYPE SetMediaTime(LONGLONG* start, LONGLONG* end) override;

    // By the allocator, when the sample goes out: one reference and nothing set.
    void Begin();

private:
    MemoryAllocator& allocator_;
    BYTE* const data_;
    const LONG size_;
    std::atomic<ULONG> references_{0};
    LONG length_ = 0;
    std::optional<REFERENCE_TIME> start_;
    std::optional<REFERENCE_TIME> end_;
    std::optional<LONGLONG> media_start_;
    LONGLONG media_end_ = 0;
    bool sync_point_ = false;
    bool preroll_ = false;
    bool discontinuity_ = false;
    AM_MEDIA_TYPE* type_ = nullptr;  // owned
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

#include "platform/linux/ds/media/MediaSample.h"

#include "filters/MediaType.h"
#include "platform/linux/ds/media/MemoryAllocator.h"

namespace Vimbrel {

MediaSample::~MediaSample() { DeleteMediaType(type_); }

void MediaSample::Begin() {
    references_ = 1;
    length_ = size_;
    start_.reset();
    end_.reset();
    media_start_.reset();
    sync_point_ = preroll_ = discontinuity_ = false;
}

HRESULT STDMETHODCALLTYPE MediaSample::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    const bool own = iid == __uuidof(IUnknown) || iid == __uuidof(IMediaSample);
    *object = own ? this : nullptr;
    if (!own) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

ULONG STDMETHODCALLTYPE MediaSample::AddRef() {
    return references_.fetch_add(1, std::memory_order_relaxed) + 1;
}

ULONG STDMETHODCALLTYPE MediaSample::Release() {
    const ULONG left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left != 0) return left;
    DeleteMediaType(std::exchange(type_, nullptr));
    allocator_.ReleaseBuffer(this);
    return 0;
}

HRESULT STDMETHODCALLTYPE MediaSample::GetPointer(BYTE** buffer) {
    if (!buffer) return E_POINTER;
    *buffer = data_;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaSample::GetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) {
    if (!start || !end) return E_POINTER;
    if (!start_) return VFW_E_SAMPLE_TIME_NOT_SET;
    *start = *start_;
    *end = end_ ? *end_ : *start_ + 1;
    return end_ ? S_OK : VFW_S_NO_STOP_TIME;
}

HRESULT STDMETHODCALLTYPE MediaSample::SetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) {
    start_ = start ? std::optional(*start) : std::nullopt;
    end_ = start && end ? std::optional(*end) : std::nullopt;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaSample::SetSyncPoint(BOOL value) {
    sync_point_ = value != FALSE;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaSample::SetPreroll(BOOL value) {
    preroll_ = value != FALSE;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaSample::SetDiscontinuity(BOOL value) {
    discontinuity_ = value != FALSE;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaSample::SetActualDataLength(LONG length) {
    if (length < 0 || length > size_) return VFW_E_BUFFER_OVERFLOW;
    length_ = length;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaSample::GetMediaType(AM_MEDIA_TYPE** type) {
    if (!type) return E_POINTER;
    *type = type_ ? CreateMediaType(*type_) : nullptr;
    if (!type_) return S_FALSE;
    return *type ? S_OK : E_OUTOFMEMORY;
}

HRESULT STDMETHODCALLTYPE MediaSample::SetMediaType(AM_MEDIA_TYPE* type) {
    AM_MEDIA_TYPE* const copy = type ? CreateMediaType(*type) : nullptr;
    if (type && !copy) return E_OUTOFMEMORY;
    DeleteMediaType(std::exchange(type_, copy));
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaSample::GetMediaTime(LONGLONG* start, LONGLONG* end) {
    if (!start || !end) return E_POINTER;
    if (!media_start_) return VFW_E_MEDIA_TIME_NOT_SET;
    *start = *media_start_;
    *end = media_end_;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaSample::SetMediaTime(LONGLONG* start, LONGLONG* end) {
    if (start && !end) return E_POINTER;
    media_start_ = start ? std::optional(*start) : std::nullopt;
    media_end_ = start ? *end : 0;
    return S_OK;
}

}  // namespace Vimbrel

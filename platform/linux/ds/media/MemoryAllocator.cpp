#include "platform/linux/ds/media/MemoryAllocator.h"

#include <cstdint>
#include <new>

namespace Vimbrel {

HRESULT STDMETHODCALLTYPE MemoryAllocator::SetProperties(ALLOCATOR_PROPERTIES* request,
                                                         ALLOCATOR_PROPERTIES* actual) {
    if (!request || !actual) return E_POINTER;
    const LONG align = request->cbAlign;
    if (align <= 0 || (align & (align - 1)) != 0) return VFW_E_BADALIGN;
    if (request->cBuffers <= 0 || request->cbBuffer < 0 || request->cbPrefix < 0)
        return E_INVALIDARG;
    const MutexLock guard(lock_);
    if (committed_) return VFW_E_ALREADY_COMMITTED;
    if (memory_) return VFW_E_BUFFERS_OUTSTANDING;
    properties_ = *actual = *request;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MemoryAllocator::GetProperties(ALLOCATOR_PROPERTIES* properties) {
    if (!properties) return E_POINTER;
    const MutexLock guard(lock_);
    *properties = properties_;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MemoryAllocator::Commit() {
    const MutexLock guard(lock_);
    if (committed_) return S_OK;
    if (properties_.cBuffers == 0 || properties_.cbBuffer == 0) return VFW_E_SIZENOTSET;
    // Samples that are still out keep the memory of an earlier commitment.
    const HRESULT hr = memory_ ? S_OK : Allocate();
    committed_ = SUCCEEDED(hr);
    return hr;
}

HRESULT MemoryAllocator::Allocate() {
    const auto align = static_cast<std::size_t>(properties_.cbAlign);
    const auto prefix = static_cast<std::size_t>(properties_.cbPrefix);
    const auto size = static_cast<std::size_t>(properties_.cbBuffer);
    const auto count = static_cast<std::size_t>(properties_.cBuffers);
    const std::size_t step = (prefix + size + align - 1) / align * align;
    memory_.reset(new (std::nothrow) BYTE[step * count + prefix + align]);
    if (!memory_) return E_OUTOFMEMORY;
    const auto base = reinterpret_cast<std::uintptr_t>(memory_.get()) + prefix;
    BYTE* const first = reinterpret_cast<BYTE*>((base + align - 1) / align * align);
    free_.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        samples_.emplace_back(*this, first + i * step, properties_.cbBuffer);
        free_.push_back(&samples_.back());
    }
    return S_OK;
}

void MemoryAllocator::Free() {
    free_.clear();
    samples_.clear();
    memory_.reset();
}

HRESULT STDMETHODCALLTYPE MemoryAllocator::Decommit() {
    const MutexLock guard(lock_);
    committed_ = false;
    if (free_.size() == samples_.size()) Free();
    returned_.NotifyAll();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MemoryAllocator::GetBuffer(IMediaSample** sample, REFERENCE_TIME*,
                                                     REFERENCE_TIME*, DWORD flags) {
    if (!sample) return E_POINTER;
    *sample = nullptr;
    MutexLock guard(lock_);
    while (committed_ && free_.empty()) {
        if ((flags & AM_GBF_NOWAIT) != 0) return VFW_E_TIMEOUT;
        returned_.Wait(guard);
    }
    if (!committed_) return VFW_E_NOT_COMMITTED;
    MediaSample* const taken = free_.back();
    free_.pop_back();
    taken->Begin();
    AddRef();
    *sample = taken;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MemoryAllocator::ReleaseBuffer(IMediaSample* sample) {
    {
        const MutexLock guard(lock_);
        MediaSample* found = nullptr;
        for (MediaSample& each : samples_) {
            if (&each == sample) found = &each;
        }
        if (!found) return E_INVALIDARG;
        free_.push_back(found);
        if (!committed_ && free_.size() == samples_.size()) Free();
        returned_.NotifyOne();
    }
    Release();
    return S_OK;
}

HRESULT CreateMemoryAllocator(REFIID iid, void** object) {
    return CreateCom<MemoryAllocator>(iid, object);
}

}  // namespace Vimbrel

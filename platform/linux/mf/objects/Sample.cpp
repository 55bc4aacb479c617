#include "platform/linux/mf/objects/Sample.h"

#include <mfapi.h>

#include <cstring>
#include <new>

#include "platform/linux/mf/objects/MemoryBuffer.h"

namespace Vimbrel {

HRESULT STDMETHODCALLTYPE Sample::GetSampleTime(LONGLONG* time) {
    if (!time) return E_POINTER;
    const MutexLock guard(lock_);
    if (!time_) return MF_E_NO_SAMPLE_TIMESTAMP;
    *time = *time_;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE Sample::SetSampleTime(LONGLONG time) {
    const MutexLock guard(lock_);
    time_ = time;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE Sample::GetSampleDuration(LONGLONG* duration) {
    if (!duration) return E_POINTER;
    const MutexLock guard(lock_);
    if (!duration_) return MF_E_NO_SAMPLE_DURATION;
    *duration = *duration_;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE Sample::SetSampleDuration(LONGLONG duration) {
    const MutexLock guard(lock_);
    duration_ = duration;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE Sample::GetBufferCount(DWORD* count) {
    if (!count) return E_POINTER;
    const MutexLock guard(lock_);
    *count = static_cast<DWORD>(buffers_.size());
    return S_OK;
}

HRESULT STDMETHODCALLTYPE Sample::GetBufferByIndex(DWORD index, IMFMediaBuffer** buffer) {
    if (!buffer) return E_POINTER;
    *buffer = nullptr;
    const MutexLock guard(lock_);
    return index < buffers_.size() ? buffers_[index].CopyTo(buffer) : E_INVALIDARG;
}

HRESULT STDMETHODCALLTYPE Sample::ConvertToContiguousBuffer(IMFMediaBuffer** buffer) {
    const MutexLock guard(lock_);
    if (buffer) *buffer = nullptr;
    if (buffers_.empty()) return E_UNEXPECTED;
    if (buffers_.size() > 1) {
        if (const HRESULT hr = Merge(); FAILED(hr)) return hr;
    }
    return buffer ? buffers_.front().CopyTo(buffer) : S_OK;
}

HRESULT Sample::Merge() {
    DWORD total = 0;
    if (const HRESULT hr = TotalLength(&total); FAILED(hr)) return hr;
    const ComPtr<MemoryBuffer> merged = MemoryBuffer::Create(total);
    if (!merged) return E_OUTOFMEMORY;
    BYTE* target = nullptr;
    HRESULT hr = merged->Lock(&target, nullptr, nullptr);
    DWORD copied = 0;
    for (auto each = buffers_.begin(); SUCCEEDED(hr) && each != buffers_.end(); ++each) {
        BYTE* data = nullptr;
        DWORD length = 0;
        hr = (*each)->Lock(&data, nullptr, &length);
        if (FAILED(hr)) return hr;
        if (length > total - copied) {
            hr = E_UNEXPECTED;  // it grew meanwhile
        } else {
            std::memcpy(target + copied, data, length);
            copied += length;
        }
        (*each)->Unlock();
    }
    if (SUCCEEDED(hr)) hr = merged->SetCurrentLength(copied);
    merged->Unlock();
    if (FAILED(hr)) return hr;
    buffers_.assign(1, ComPtr<IMFMediaBuffer>(merged.Get()));
    return S_OK;
}

HRESULT STDMETHODCALLTYPE Sample::AddBuffer(IMFMediaBuffer* buffer) try {
    if (!buffer) return E_INVALIDARG;
    const MutexLock guard(lock_);
    buffers_.emplace_back(buffer);
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT STDMETHODCALLTYPE Sample::RemoveAllBuffers() {
    std::vector<ComPtr<IMFMediaBuffer>> old;
    const MutexLock guard(lock_);
    old.swap(buffers_);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE Sample::GetTotalLength(DWORD* length) {
    if (!length) return E_POINTER;
    const MutexLock guard(lock_);
    return TotalLength(length);
}

HRESULT Sample::TotalLength(DWORD* length) const {
    std::uint64_t total = 0;
    for (const ComPtr<IMFMediaBuffer>& buffer : buffers_) {
        DWORD each = 0;
        if (const HRESULT hr = buffer->GetCurrentLength(&each); FAILED(hr)) return hr;
        total += each;
    }
    if (total > UINT32_MAX) return E_OUTOFMEMORY;
    *length = static_cast<DWORD>(total);
    return S_OK;
}

}  // namespace Vimbrel

extern "C" HRESULT WINAPI MFCreateSample(IMFSample** sample) {
    if (!sample) return E_POINTER;
    return Vimbrel::CreateCom<Vimbrel::Sample>(sample);
}

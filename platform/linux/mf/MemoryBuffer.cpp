#include "platform/linux/mf/MemoryBuffer.h"

#include <mfapi.h>

#include <new>

namespace Vimbrel {

ComPtr<MemoryBuffer> MemoryBuffer::Create(DWORD size) {
    // Not cleared: frames are large, and overwritten at once.
    std::unique_ptr<BYTE[]> memory(new (std::nothrow) BYTE[size ? size : 1]);
    return memory ? MakeCom<MemoryBuffer>(std::move(memory), size) : ComPtr<MemoryBuffer>();
}

HRESULT STDMETHODCALLTYPE MemoryBuffer::Lock(BYTE** data, DWORD* max_length, DWORD* current_length) {
    if (!data) return E_POINTER;
    *data = memory_.get();
    if (max_length) *max_length = size_;
    if (current_length) *current_length = length_;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MemoryBuffer::GetCurrentLength(DWORD* length) {
    if (!length) return E_POINTER;
    *length = length_;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MemoryBuffer::SetCurrentLength(DWORD length) {
    if (length > size_) return E_INVALIDARG;
    length_ = length;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MemoryBuffer::GetMaxLength(DWORD* length) {
    if (!length) return E_POINTER;
    *length = size_;
    return S_OK;
}

}  // namespace Vimbrel

extern "C" HRESULT WINAPI MFCreateMemoryBuffer(DWORD max_length, IMFMediaBuffer** buffer) {
    if (!buffer) return E_POINTER;
    *buffer = Vimbrel::MemoryBuffer::Create(max_length).Detach();
    return *buffer ? S_OK : E_OUTOFMEMORY;
}

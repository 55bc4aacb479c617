#include "platform/linux/mf/objects/MemoryBuffer.h"

#include <mfapi.h>

#include <new>

namespace Vimbrel {

ComPtr<MemoryBuffer> MemoryBuffer::Create(DWORD size, std::size_t alignment) {
    // Not cleared: frames are large, and overwritten at once.
    std::unique_ptr<BYTE[]> memory(new (std::nothrow) BYTE[std::size_t{size} + alignment]);
    if (!memory) return {};
    BYTE* const start =
        memory.get() +
        (alignment - reinterpret_cast<std::uintptr_t>(memory.get()) % alignment) % alignment;
    ComPtr<MemoryBuffer> made;
    made.Attach(new (std::nothrow) MemoryBuffer(std::move(memory), start, size));
    return made;
}

HRESULT STDMETHODCALLTYPE MemoryBuffer::Lock(BYTE** data, DWORD* max_length,
                                             DWORD* current_length) {
    if (!data) return E_POINTER;
    *data = start_;
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

extern "C" HRESULT WINAPI MFCreateAlignedMemoryBuffer(DWORD max_length, DWORD alignment,
                                                      IMFMediaBuffer** buffer) {
    if (!buffer) return E_POINTER;
    *buffer = nullptr;
    const std::size_t multiple = std::size_t{alignment} + 1;
    constexpr std::size_t most = 65536;
    if (multiple > most || (multiple & alignment) != 0) return E_INVALIDARG;
    *buffer = Vimbrel::MemoryBuffer::Create(max_length, multiple).Detach();
    return *buffer ? S_OK : E_OUTOFMEMORY;
}

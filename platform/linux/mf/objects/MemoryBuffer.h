// A block of memory as a media buffer.
#pragma once

#include <mfobjects.h>

#include <atomic>
#include <memory>

#include "com/ComObject.h"

namespace Vimbrel {

class MemoryBuffer final : public ComObject<Implements<IMFMediaBuffer>> {
public:
    // Beginning at a multiple of `alignment`, a power of two. Null if there is no memory.
    static ComPtr<MemoryBuffer> Create(DWORD size, std::size_t alignment = 1);

    MemoryBuffer(std::unique_ptr<BYTE[]> memory, BYTE* start, DWORD size)
        : memory_(std::move(memory)), start_(start), size_(size) {}

    HRESULT STDMETHODCALLTYPE Lock(BYTE** data, DWORD* max_length, DWORD* current_length) override;
    HRESULT STDMETHODCALLTYPE Unlock() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE GetCurrentLength(DWORD* length) override;
    HRESULT STDMETHODCALLTYPE SetCurrentLength(DWORD length) override;
    HRESULT STDMETHODCALLTYPE GetMaxLength(DWORD* length) override;

private:
    std::unique_ptr<BYTE[]> memory_;
    BYTE* start_;
    DWORD size_;
    std::atomic<DWORD> length_{0};
};

}  // namespace Vimbrel

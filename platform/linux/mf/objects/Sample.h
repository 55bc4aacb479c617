// Buffers with a time.
#pragma once

#include <mfobjects.h>

#include <optional>
#include <vector>

#include "base/ThreadSafety.h"
#include "platform/linux/mf/objects/AttributesObject.h"

namespace Vimbrel {

class Sample final : public AttributesObject<Implements<IMFSample, IMFAttributes>> {
public:
    HRESULT STDMETHODCALLTYPE GetSampleTime(LONGLONG* time) override;
    HRESULT STDMETHODCALLTYPE SetSampleTime(LONGLONG time) override;
    HRESULT STDMETHODCALLTYPE GetSampleDuration(LONGLONG* duration) override;
    HRESULT STDMETHODCALLTYPE SetSampleDuration(LONGLONG duration) override;
    HRESULT STDMETHODCALLTYPE GetBufferCount(DWORD* count) override;
    HRESULT STDMETHODCALLTYPE GetBufferByIndex(DWORD index, IMFMediaBuffer** buffer) override;
    HRESULT STDMETHODCALLTYPE ConvertToContiguousBuffer(IMFMediaBuffer** buffer) override;
    HRESULT STDMETHODCALLTYPE AddBuffer(IMFMediaBuffer* buffer) override;
    HRESULT STDMETHODCALLTYPE RemoveAllBuffers() override;
    HRESULT STDMETHODCALLTYPE GetTotalLength(DWORD* length) override;

private:
    HRESULT Merge() REQUIRES(lock_);
    HRESULT TotalLength(DWORD* length) const REQUIRES(lock_);

    Mutex lock_;
    std::optional<LONGLONG> time_ GUARDED_BY(lock_);
    std::optional<LONGLONG> duration_ GUARDED_BY(lock_);
    std::vector<ComPtr<IMFMediaBuffer>> buffers_ GUARDED_BY(lock_);
};

}  // namespace Vimbrel

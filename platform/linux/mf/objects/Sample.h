// Buffers with a time.
#pragma once

#include <mfobjects.h>

#include <mutex>
#include <optional>
#include <vector>

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
    HRESULT Merge();
    HRESULT TotalLength(DWORD* length) const;

    std::mutex lock_;
    std::optional<LONGLONG> time_;
    std::optional<LONGLONG> duration_;
    std::vector<ComPtr<IMFMediaBuffer>> buffers_;
};

}  // namespace Vimbrel

// A sample of 16-bit sound around a test's memory, for filters that are called without a graph.
#pragma once

#include <cstdint>
#include <vector>

#include "com/ComObject.h"
#include "filters/FilterNames.h"

namespace Vimbrel::test {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Its times move on by its length in the engine's format with each question for them.
class FakeMediaSample final : public ComObject<Implements<IMediaSample>> {
public:
    HRESULT STDMETHODCALLTYPE GetPointer(BYTE** buffer) override {
        *buffer = is_null ? nullptr : reinterpret_cast<BYTE*>(samples.data());
        return S_OK;
    }
    LONG STDMETHODCALLTYPE GetSize() override { return GetActualDataLength(); }
    HRESULT STDMETHODCALLTYPE GetTime(REFERENCE_TIME* first, REFERENCE_TIME* last) override {
        *first = time;
        *last = time += samples.size() * std::int64_t{2'500'000} / 22'050;
        return S_OK;
    }
    LONG STDMETHODCALLTYPE GetActualDataLength() override {
        return length < 0 ? static_cast<LONG>(samples.size() * 2) : length;
    }
    HRESULT STDMETHODCALLTYPE SetTime(REFERENCE_TIME*, REFERENCE_TIME*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE IsSyncPoint() override { return S_FALSE; }
    HRESULT STDMETHODCALLTYPE SetSyncPoint(BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE IsPreroll() override { return S_FALSE; }
    HRESULT STDMETHODCALLTYPE SetPreroll(BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE SetActualDataLength(LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMediaType(AM_MEDIA_TYPE**) override { return S_FALSE; }
    HRESULT STDMETHODCALLTYPE SetMediaType(AM_MEDIA_TYPE*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE IsDiscontinuity() override { return S_FALSE; }
    HRESULT STDMETHODCALLTYPE SetDiscontinuity(BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE GetMediaTime(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetMediaTime(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }

    std::vector<std::int16_t> samples;
    REFERENCE_TIME time = 0;
    LONG length = -1;  // that of the samples
    bool is_null = false;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel::test

// The types that a stream can have, and the one that it has.
#pragma once

#include <mfidl.h>

#include <vector>

#include "base/ThreadSafety.h"
#include "com/ComObject.h"

namespace Vimbrel {

class MediaTypeHandler final : public ComObject<Implements<IMFMediaTypeHandler>> {
public:
    explicit MediaTypeHandler(std::vector<ComPtr<IMFMediaType>> types) : types_(std::move(types)) {}

    // Types whose major type and subtype one of the stream's has.
    HRESULT STDMETHODCALLTYPE IsMediaTypeSupported(IMFMediaType* type,
                                                   IMFMediaType** closest) override;
    HRESULT STDMETHODCALLTYPE GetMediaTypeCount(DWORD* count) override;
    HRESULT STDMETHODCALLTYPE GetMediaTypeByIndex(DWORD index, IMFMediaType** type) override;
    HRESULT STDMETHODCALLTYPE SetCurrentMediaType(IMFMediaType* type) override;
    HRESULT STDMETHODCALLTYPE GetCurrentMediaType(IMFMediaType** type) override;
    // Of the current type, or of the first.
    HRESULT STDMETHODCALLTYPE GetMajorType(GUID* type) override;

private:
    const std::vector<ComPtr<IMFMediaType>> types_;
    Mutex lock_;
    ComPtr<IMFMediaType> current_ GUARDED_BY(lock_);
};

}  // namespace Vimbrel

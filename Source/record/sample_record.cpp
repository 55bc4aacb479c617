#include "Source/record/sample_record.h"

#include <cstring>

#include "base/MediaSample.h"

namespace Vimbrel {

HRESULT MakeSample(const sample_record& record, ComPtr<IMFSample>& sample) {
    ComPtr<IMFMediaBuffer> buffer;
    HRESULT hr = MakeMemorySample(record.size, sample, buffer);
    if (FAILED(hr)) return hr;
    BYTE* bytes = nullptr;
    hr = buffer->Lock(&bytes, nullptr, nullptr);
    if (FAILED(hr)) return hr;
    std::memcpy(bytes, record.data.get(), record.size);
    buffer->Unlock();
    hr = buffer->SetCurrentLength(record.size);
    if (SUCCEEDED(hr)) hr = sample->SetSampleTime(record.time);
    if (SUCCEEDED(hr)) hr = sample->SetSampleDuration(record.duration);
    return hr;
}

}  // namespace Vimbrel

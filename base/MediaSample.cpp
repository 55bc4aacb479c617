#include "base/MediaSample.h"

#include <mfapi.h>

namespace Vimbrel {

HRESULT MakeMemorySample(DWORD size, ComPtr<IMFSample>& sample, ComPtr<IMFMediaBuffer>& buffer) {
    HRESULT hr = MFCreateSample(sample.Put());
    if (SUCCEEDED(hr)) hr = MFCreateMemoryBuffer(size, buffer.Put());
    if (SUCCEEDED(hr)) hr = sample->AddBuffer(buffer.Get());
    return hr;
}

}  // namespace Vimbrel

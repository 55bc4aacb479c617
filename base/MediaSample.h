// Making of samples for the media pipeline.
#pragma once

#include <mfobjects.h>

#include "com/ComPtr.h"

namespace Vimbrel {

// Makes a sample and its only buffer, of `size` bytes in memory. The buffer's current length is 0.
// After a failure the outputs may hold what was made until then. Any thread.
HRESULT MakeMemorySample(DWORD size, ComPtr<IMFSample>& sample, ComPtr<IMFMediaBuffer>& buffer);

}  // namespace Vimbrel

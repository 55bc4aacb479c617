// A block of sound or a frame on its way into the pipeline.
#pragma once

#include <mfobjects.h>

#include <cstdint>
#include <memory>

#include "com/ComPtr.h"

namespace Vimbrel {

// Times in 100 nanoseconds.
struct sample_record {
    std::uint8_t video = 0;  // for the video stream
    std::unique_ptr<unsigned char[]> data;
    std::uint32_t size = 0;
    std::int64_t time = 0;
    std::int64_t duration = 0;
};

// A sample with a copy of the record.
HRESULT MakeSample(const sample_record& record, ComPtr<IMFSample>& sample);

}  // namespace Vimbrel

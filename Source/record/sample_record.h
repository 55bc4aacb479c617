// A block of sound or a frame on its way into the pipeline.
#pragma once

#include <cstdint>
#include <memory>

namespace Vimbrel {

// Of size 0 it is the mark that ends all streams. Times in 100 nanoseconds.
struct sample_record {
    std::uint8_t video = 0;  // for the video stream
    std::unique_ptr<unsigned char[]> data;
    std::uint32_t size = 0;
    std::int64_t time = 0;
    std::int64_t duration = 0;
};

}  // namespace Vimbrel

// What a track of an MP4 file holds, and its description in the file.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/linux/mp4/Mp4Boxes.h"

namespace Vimbrel {

struct Mp4TrackFormat {
    bool video = false;
    std::uint32_t timescale = 0;              // ticks per second
    std::vector<std::uint8_t> configuration;  // avcC or AudioSpecificConfig
    // How far decoding is ahead of the presentation at the start: by frames that are reordered, or
    // by what a sound decoder yields before the first sample.
    std::uint32_t lead = 0;
    // Video.
    std::uint16_t width = 0;
    std::uint16_t height = 0;
    bool bt709 = false;
    // Sound.
    std::uint16_t channels = 0;
    std::uint32_t bytes_per_second = 0;
};

// Puts the box stsd.
void PutSampleDescription(const Mp4TrackFormat& format, Mp4Boxes& boxes);

}  // namespace Vimbrel

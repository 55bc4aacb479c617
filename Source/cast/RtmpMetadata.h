// The message that describes a stream to a server and its players.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace Vimbrel {

struct StreamMetadata {
    int width = 0;  // pixels
    int height = 0;
    double frames_per_second = 0;
    bool has_audio = false;
    double sample_rate = 0;
    bool stereo = false;
    double audio_bits_per_second = 0;

    // "@setDataFrame", "onMetaData" and an array of the values, in AMF0.
    std::vector<std::uint8_t> Encode() const;
};

}  // namespace Vimbrel

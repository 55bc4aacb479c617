#include "Source/cast/CastEncoders.h"

#include <algorithm>

namespace Vimbrel {

StreamMetadata CastEncoders::Metadata(bool with_audio) const {
    StreamMetadata metadata;
    metadata.width = h264.width;
    metadata.height = h264.height;
    metadata.frames_per_second =
        static_cast<double>(h264.frame_rate_num) / std::max(h264.frame_rate_den, 1U);
    metadata.has_audio = with_audio;
    metadata.sample_rate = static_cast<double>(aac.format.nSamplesPerSec);
    metadata.stereo = aac.format.nChannels > 1;
    metadata.audio_bits_per_second = 8.0 * aac.bytes_per_second;
    return metadata;
}

}  // namespace Vimbrel

#include "Source/cast/StandardFraming.h"

#include <algorithm>
#include <cmath>

namespace Vimbrel {
namespace {

constexpr std::uint32_t chunk_size = 4096;

}  // namespace

bool StandardFraming::Begin(bool with_audio) {
    if (!publisher.SetChunkSize(chunk_size)) return false;
    RtmpMessage message;
    message.PutData(encoders.Metadata(with_audio).Encode());
    return publisher.Send(message, ChunkHeader::Large, 0) == 1;
}

// Not the time of sending: after a network that was held up, all of the sound that waited would
// have one time, while pictures keep their own.
std::uint32_t StandardFraming::SoundClock(const encoded_frame& frame) const {
    return static_cast<std::uint32_t>(frame.time / ticks_per_ms);
}

// Receivers take a message for one frame, so each frame of a long block has its own. The clock says
// when the block was encoded, and blocks come in bursts: frames follow one another by their length
// as long as that stays near the clock.
void StandardFraming::SendSoundAt(const encoded_frame& frame, std::uint32_t time) {
    constexpr double samples_per_frame = 1024;
    constexpr double tolerance = 100;
    const double duration = samples_per_frame * 1000 / encoders.aac.format.nSamplesPerSec;
    double clock = time;
    ByteSpan rest = BytesOf(frame);
    for (const std::int32_t size : frame.aac_frame_sizes) {
        if (std::abs(next_sound_time - clock) > tolerance)
            next_sound_time = std::max(clock, next_sound_time - duration + 1);
        SendAacMessage(rest.first(static_cast<std::size_t>(size)),
                       static_cast<std::uint32_t>(next_sound_time));
        rest = rest.subspan(static_cast<std::size_t>(size));
        next_sound_time += duration;
        clock += duration;
    }
}

std::uint32_t StandardFraming::PictureTime(std::int64_t time) const {
    return static_cast<std::uint32_t>(time / ticks_per_ms);
}

bool StandardFraming::SendAccessUnit(ByteSpan access_unit, bool key, std::uint32_t time) {
    return picture.PutAccessUnit(access_unit, key) && SendPictureMessage(access_unit.size(), time);
}

}  // namespace Vimbrel

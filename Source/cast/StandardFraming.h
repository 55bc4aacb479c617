// Metadata first, and a message per access unit of length-prefixed NAL units; sound stamped when it
// was encoded.
#pragma once

#include "Source/cast/StreamFraming.h"

namespace Vimbrel {

class StandardFraming final : public StreamFraming {
public:
    explicit StandardFraming(Parts parts) : StreamFraming(parts) {}

    bool Begin(bool with_audio) override;

private:
    std::uint32_t SoundClock(const encoded_frame& frame) const override;
    void SendSoundAt(const encoded_frame& frame, std::uint32_t time) override;
    std::uint32_t PictureTime(std::int64_t time) const override;
    ChunkHeader PictureHeader() const override { return ChunkHeader::Large; }
    bool SendAccessUnit(ByteSpan access_unit, bool key, std::uint32_t time) override;

    double next_sound_time = 0;  // milliseconds since the first frame
};

}  // namespace Vimbrel

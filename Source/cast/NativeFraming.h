// A message per piece of an access unit, its start code included; sound stamped when it is sent.
#pragma once

#include "Source/cast/StreamFraming.h"

namespace Vimbrel {

class NativeFraming final : public StreamFraming {
public:
    explicit NativeFraming(Parts parts) : StreamFraming(parts) {}

    bool Begin(bool) override { return true; }

private:
    std::uint32_t SoundClock(const encoded_frame& frame) const override;
    void SendSoundAt(const encoded_frame& frame, std::uint32_t time) override {
        SendAacMessage(BytesOf(frame), time);
    }
    std::uint32_t PictureTime(std::int64_t time) const override;
    // Kept: relative to the message before, and so a large difference after sound. Receivers of
    // this framing know the header in this form.
    ChunkHeader PictureHeader() const override { return ChunkHeader::Medium; }
    bool SendAccessUnit(ByteSpan access_unit, bool key, std::uint32_t time) override;
};

}  // namespace Vimbrel

#include "Source/cast/StreamFraming.h"

#include <algorithm>

#include "Source/cast/NativeFraming.h"
#include "Source/cast/StandardFraming.h"

namespace Vimbrel {
namespace {

// A start code of 4 bytes, the unit's type, and profile, compatibility and level.
constexpr std::size_t least_sps_size = 8;
constexpr std::size_t least_pps_size = 5;

}  // namespace

ByteSpan BytesOf(const encoded_frame& frame) {
    return {frame.data, static_cast<std::size_t>(std::max(frame.size, 0))};
}

std::unique_ptr<StreamFraming> StreamFraming::Create(RTMPCastOptions::Framing framing,
                                                     Parts parts) {
    if (framing == RTMPCastOptions::Framing::Standard)
        return std::make_unique<StandardFraming>(parts);
    return std::make_unique<NativeFraming>(parts);
}

bool StreamFraming::SendSoundHeader() {
    RtmpMessage header;
    header.PutAacSequenceHeader(encoders.aac.audio_specific_config);
    return publisher.Send(header, ChunkHeader::Large, 0) == 1;
}

bool StreamFraming::SendSound(const encoded_frame& frame) {
    if (!sound_header_sent) {
        if (encoders.aac.audio_specific_config.empty()) return false;
        sound_start = SoundClock(frame);
        if (!SendSoundHeader()) return false;
        sound_header_sent = true;
    }
    SendSoundAt(frame, SoundClock(frame) - sound_start);
    return true;
}

void StreamFraming::SendAacMessage(ByteSpan frames, std::uint32_t time) {
    sound.PutAac(frames);
    publisher.Send(sound, ChunkHeader::Large, time);
}

bool StreamFraming::SendPictureHeader() {
    const live_encoder_h264& encoder = encoders.h264;
    if (encoder.sps.size() < least_sps_size || encoder.pps.size() < least_pps_size) return false;
    RtmpMessage header;
    header.PutAvcSequenceHeader(encoder.sps, encoder.pps);
    return publisher.Send(header, PictureHeader(), 0) != 0;
}

bool StreamFraming::SendPicture(const encoded_frame& frame) {
    if (!picture_header_sent) {
        if (!SendPictureHeader()) return false;
        picture_header_sent = true;
    }
    if (frame.size < 1) return true;
    if (SendAccessUnit(BytesOf(frame), frame.key != 0, PictureTime(frame.time))) ++sent_pictures;
    return true;
}

bool StreamFraming::SendPictureMessage(std::size_t counted_bytes, std::uint32_t time) {
    if (publisher.Send(picture, ChunkHeader::Large, time) == 0) return false;
    bit_rate.Add(static_cast<std::int64_t>(counted_bytes), time);
    return true;
}

}  // namespace Vimbrel

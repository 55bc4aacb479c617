// Turns encoded frames into the messages of a stream. What framings have in common.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "Source/cast/BitRateMeter.h"
#include "Source/cast/CastEncoders.h"
#include "Source/cast/RtmpMessage.h"
#include "Source/cast/RtmpPublisher.h"
#include "vimbrel/MediaRTMPCast.h"

namespace Vimbrel {

// An object serves one stream, on the thread that sends. The sequence header of each medium goes
// out before its first frame.
class StreamFraming {
public:
    // What is referred to outlives the object.
    struct Parts {
        RtmpPublisher& publisher;
        const CastEncoders& encoders;
        BitRateMeter& bit_rate;
    };

    static std::unique_ptr<StreamFraming> Create(RTMPCastOptions::Framing framing, Parts parts);

    StreamFraming(const StreamFraming&) = delete;
    StreamFraming& operator=(const StreamFraming&) = delete;
    virtual ~StreamFraming() = default;

    // Sends what comes before all media. False if it could not be sent.
    virtual bool Begin(bool with_audio) = 0;
    // False if the sequence header is missing or could not be sent, which ends the stream. A frame
    // that could not be sent is lost: a lost link shows at the next frame.
    bool SendSound(const encoded_frame& frame);
    bool SendPicture(const encoded_frame& frame);
    // Pictures of which all messages were sent.
    std::uint64_t SentPictures() const { return sent_pictures; }

protected:
    explicit StreamFraming(Parts parts)
        : publisher(parts.publisher), encoders(parts.encoders), bit_rate(parts.bit_rate) {}

    void SendAacMessage(ByteSpan frames, std::uint32_t time);
    // `picture` with its time. Counts so many bytes if it was sent.
    bool SendPictureMessage(std::size_t counted_bytes, std::uint32_t time);

    RtmpPublisher& publisher;
    const CastEncoders& encoders;
    RtmpMessage picture;

private:
    // Milliseconds on the sound's clock.
    virtual std::uint32_t SoundClock(const encoded_frame& frame) const = 0;
    // `time` in milliseconds since the first frame of sound.
    virtual void SendSoundAt(const encoded_frame& frame, std::uint32_t time) = 0;
    // `time` in units of 100 ns; milliseconds.
    virtual std::uint32_t PictureTime(std::int64_t time) const = 0;
    virtual ChunkHeader PictureHeader() const = 0;
    // False if a part of it was not sent, or if there was nothing to send.
    virtual bool SendAccessUnit(ByteSpan access_unit, bool key, std::uint32_t time) = 0;

    bool SendSoundHeader();
    bool SendPictureHeader();

    BitRateMeter& bit_rate;
    RtmpMessage sound;
    std::uint32_t sound_start = 0;  // of the first frame, on the sound's clock
    bool sound_header_sent = false;
    bool picture_header_sent = false;
    std::uint64_t sent_pictures = 0;
};

// The bytes of a frame; none if its size is negative.
ByteSpan BytesOf(const encoded_frame& frame);

}  // namespace Vimbrel

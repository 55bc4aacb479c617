// A stream without a network and without running encoders: tests hand the encoded frames over.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

#include "Source/cast/StreamSender.h"
#include "tests/fakes/FakePublishingSession.h"

namespace Vimbrel::test {

using Framing = RTMPCastOptions::Framing;
using ByteVector = std::vector<std::uint8_t>;
inline constexpr std::int64_t ms = 10'000;

inline encoded_frame_ptr PictureFrame(std::int64_t time, bool key, const ByteVector& bytes) {
    auto frame = make_encoded_frame(encoded_frame::type_h264, bytes.data(),
                                    static_cast<std::int32_t>(bytes.size()));
    frame->time = time;
    frame->key = key ? 1 : 0;
    return frame;
}
inline encoded_frame_ptr PictureFrame(std::int64_t time) {
    return PictureFrame(time, false, {0, 0, 0, 1, 0x41, 1});
}

inline encoded_frame_ptr SoundFrame(std::vector<std::int32_t> sizes) {
    std::int32_t total = 0;
    for (const std::int32_t size : sizes) total += size;
    const ByteVector bytes(static_cast<std::size_t>(total), 0x21);
    auto frame = make_encoded_frame(encoded_frame::type_aac, bytes.data(), total);
    frame->aac_frame_sizes = std::move(sizes);
    return frame;
}

// A sender with encoders that do not run, and a server of the test's own.
class Stream {
public:
    explicit Stream(Framing framing)
        : sender(encoders, {.framing = framing}, progress, server.Factory()) {
        encoders.aac.audio_specific_config = {0x12, 0x10};
        encoders.h264.sps = {0, 0, 0, 1, 0x67, 77, 0x40, 41, 0xAA};
        encoders.h264.pps = {0, 0, 0, 1, 0x68, 0xBB};
    }
    int Start(bool with_audio = true) { return sender.Start({"url", "", ""}, with_audio); }
    // Waits until the frame's messages are sent, so that each frame has its own time of the clock.
    void Give(encoded_frame_ptr frame, std::size_t messages) {
        const std::size_t before = server.Sent().size();
        sender.Queue(frame);
        EXPECT_TRUE(server.WaitForMessages(before + messages));
    }
    std::vector<std::uint32_t> Times(RtmpMessage::Type type) {
        std::vector<std::uint32_t> times;
        for (const SentMessage& message : server.Sent()) {
            if (message.type == type) times.push_back(message.time);
        }
        return times;
    }

    FakePublishingServer server;
    CastEncoders encoders;
    const std::shared_ptr<RTMPCastProgress> progress = std::make_shared<RTMPCastProgress>();
    StreamSender sender;
};

}  // namespace Vimbrel::test

// The messages of both framings, in their order and with their headers and times; and how a stream
// ends. The encoders do not run: the test hands their frames over.
#include "Source/cast/StreamSender.h"

#include <gmock/gmock.h>

#include <future>
#include <new>
#include <utility>

#include "base/Clock.h"
#include "tests/fakes/CapturingLog.h"
#include "tests/fakes/FakePublishingSession.h"
#include "tests/fakes/ManualClock.h"

namespace Vimbrel::test {
namespace {

using Framing = RTMPCastOptions::Framing;
using ByteVector = std::vector<std::uint8_t>;
using testing::ElementsAre;

constexpr std::int64_t ms = 10'000;

encoded_frame_ptr Picture(std::int64_t time, bool key, const ByteVector& bytes) {
    auto frame = make_encoded_frame(encoded_frame::type_h264, bytes.data(),
                                    static_cast<std::int32_t>(bytes.size()));
    frame->time = time;
    frame->key = key ? 1 : 0;
    return frame;
}
encoded_frame_ptr Picture(std::int64_t time) { return Picture(time, false, {0, 0, 0, 1, 0x41, 1}); }

encoded_frame_ptr Sound(std::vector<std::int32_t> sizes) {
    std::int32_t total = 0;
    for (const std::int32_t size : sizes) total += size;
    const ByteVector bytes(static_cast<std::size_t>(total), 0x21);
    auto frame = make_encoded_frame(encoded_frame::type_aac, bytes.data(), total);
    frame->aac_frame_sizes = std::move(sizes);
    return frame;
}

class Stream {
public:
    explicit Stream(Framing framing)
        : sender(encoders, {.framing = framing}, progress, server.Factory()) {
        encoders.aac.audio_specific_config = {0x12, 0x10};
        encoders.h264.sps = {0, 0, 0, 1, 0x67, 77, 0x40, 41, 0xAA};
        encoders.h264.pps = {0, 0, 0, 1, 0x68, 0xBB};
    }
    int Start(bool with_audio = true) { return sender.Start({"url", "", ""}, with_audio); }
    // Gives frames one by one, so that each is sent at its own time of the clock.
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

void WaitForEnd(const StreamSender& sender) {
    for (int i = 0; i < 2000 && sender.IsConnected(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_FALSE(sender.IsConnected());
}

// Nothing before the media, chunks of 128 bytes, and the header of the picture relative to what was
// sent before.
TEST(NativeFraming, HeadersAndPiecesAsToldByteForByte) {
    ManualClock clock;
    const ScopedClock scoped(clock);
    Stream stream(Framing::Native);
    ASSERT_EQ(stream.Start(), RTMPCAST_OK);
    stream.Give(Sound({3, 2}), 2);
    clock.Advance(30);
    stream.Give(Sound({4}), 1);
    stream.Give(Picture(40 * ms, true, {0, 0, 0, 1, 6, 5, 0, 0, 1, 0x65, 9}), 3);
    stream.sender.Stop();
    EXPECT_EQ(stream.server.chunk_size, 128U);
    EXPECT_EQ(stream.progress->sent, 1U);

    const auto sent = stream.server.Sent();
    ASSERT_EQ(sent.size(), 6U);
    const struct {
        RtmpMessage::Type type;
        ChunkHeader header;
        std::uint32_t time;
        ByteVector head;
        std::size_t size;
    } expected[] = {
        {RtmpMessage::TYPE_AUDIO, ChunkHeader::Large, 0, {0xAF, 0, 0x12, 0x10}, 4},
        {RtmpMessage::TYPE_AUDIO, ChunkHeader::Large, 0, {0xAF, 1, 0x21}, 7},
        {RtmpMessage::TYPE_AUDIO, ChunkHeader::Large, 30, {0xAF, 1, 0x21}, 6},
        {RtmpMessage::TYPE_VIDEO, ChunkHeader::Medium, 0, {0x17, 0, 0, 0, 0, 1, 77, 0x40, 41}, 23},
        {RtmpMessage::TYPE_VIDEO,
         ChunkHeader::Large,
         40,
         {0x17, 1, 0, 0, 0, 0, 0, 0, 6, 0, 0, 0, 1, 6, 5},
         15},
        {RtmpMessage::TYPE_VIDEO,
         ChunkHeader::Large,
         40,
         {0x17, 1, 0, 0, 0, 0, 0, 0, 5, 0, 0, 1, 0x65, 9},
         14},
    };
    for (std::size_t i = 0; i < sent.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(sent[i].type, expected[i].type);
        EXPECT_EQ(sent[i].header, expected[i].header);
        EXPECT_EQ(sent[i].time, expected[i].time);
        EXPECT_EQ(sent[i].body.size(), expected[i].size);
        EXPECT_EQ(sent[i].channel, 4);
        const ByteVector head(
            sent[i].body.begin(),
            sent[i].body.begin() + static_cast<std::ptrdiff_t>(expected[i].head.size()));
        EXPECT_EQ(head, expected[i].head);
    }
}

TEST(StandardFraming, ChunkSizeAndMetadataFirstAndAMessagePerFrame) {
    for (const bool with_audio : {true, false}) {
        Stream stream(Framing::Standard);
        ASSERT_EQ(stream.Start(with_audio), RTMPCAST_OK);
        stream.Give(Picture(40 * ms, true, {0, 0, 0, 1, 0x67, 1, 0, 0, 1, 0x65, 9}), 2);
        stream.sender.Stop();
        EXPECT_EQ(stream.server.chunk_size, 4096U);
        const auto sent = stream.server.Sent();
        ASSERT_EQ(sent.size(), 4U);
        EXPECT_EQ(sent[0].type, RtmpMessage::TYPE_CHUNK_SIZE);
        EXPECT_EQ(sent[1].type, RtmpMessage::TYPE_DATA);
        EXPECT_EQ(sent[1].body, stream.encoders.Metadata(with_audio).Encode());
        EXPECT_EQ(sent[2].header, ChunkHeader::Large);
        EXPECT_EQ(sent[3].body, (ByteVector{0x17, 1, 0, 0, 0, 0, 0, 0, 2, 0x65, 9}));
    }
}

// In bursts of several frames: by their length, until that is too far from the clock.
TEST(StandardFraming, SoundFollowsItsLengthNearTheClock) {
    ManualClock clock;
    const ScopedClock scoped(clock);
    Stream stream(Framing::Standard);
    ASSERT_EQ(stream.Start(), RTMPCAST_OK);
    stream.Give(Sound({3, 3, 3}), 4);
    clock.Advance(60);
    stream.Give(Sound({3}), 1);
    clock.Advance(500);
    stream.Give(Sound({3, 3}), 2);
    stream.sender.Stop();
    EXPECT_THAT(stream.Times(RtmpMessage::TYPE_AUDIO), ElementsAre(0, 0, 23, 46, 69, 560, 583));
}

// A number of 24 bits keeps milliseconds for 4.6 hours only.
TEST(StandardFraming, TimesOfPicturesAreExactAfterManyHours) {
    const std::int64_t hour = std::int64_t{3'600'000} * ms;
    const std::int64_t times[] = {33 * ms, 5 * hour + 7 * ms, 5 * hour + 8 * ms,
                                  40 * hour + 3 * ms};
    for (const Framing framing : {Framing::Standard, Framing::Native}) {
        Stream stream(framing);
        ASSERT_EQ(stream.Start(), RTMPCAST_OK);
        stream.Give(Picture(times[0]), 2);
        for (int i = 1; i < 4; ++i) stream.Give(Picture(times[i]), 1);
        stream.sender.Stop();
        if (framing == Framing::Standard) {
            EXPECT_THAT(stream.Times(RtmpMessage::TYPE_VIDEO),
                        ElementsAre(0, 33, 18'000'007, 18'000'008, 144'000'003));
        } else {
            EXPECT_THAT(stream.Times(RtmpMessage::TYPE_VIDEO),
                        ElementsAre(0, 33, 18'000'006, 18'000'007, 143'999'998));
        }
    }
}

class StreamEnd : public testing::TestWithParam<Framing> {};

INSTANTIATE_TEST_SUITE_P(Framings, StreamEnd, testing::Values(Framing::Native, Framing::Standard));

TEST_P(StreamEnd, MissingOrUnsentSequenceHeadersEndItInSilence) {
    const struct {
        const char* what;
        void (*prepare)(Stream&);
        bool sound;
    } cases[] = {
        {"no sound header", [](Stream& s) { s.encoders.aac.audio_specific_config.clear(); }, true},
        {"no SPS", [](Stream& s) { s.encoders.h264.sps.clear(); }, false},
        {"short SPS", [](Stream& s) { s.encoders.h264.sps.resize(7); }, false},
        {"no PPS", [](Stream& s) { s.encoders.h264.pps.clear(); }, false},
        {"short PPS", [](Stream& s) { s.encoders.h264.pps.resize(4); }, false},
        {"sound unsent",
         [](Stream& s) {
             s.server.on_send = [](const SentMessage& m) {
                 return m.type == RtmpMessage::TYPE_AUDIO ? 0 : 1;
             };
         },
         true},
        {"picture unsent",
         [](Stream& s) {
             s.server.on_send = [](const SentMessage& m) {
                 return m.type == RtmpMessage::TYPE_VIDEO ? 0 : 1;
             };
         },
         false},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        Stream stream(GetParam());
        row.prepare(stream);
        int calls = 0;
        stream.sender.SetCallback([&](int) { ++calls; });
        ASSERT_EQ(stream.Start(), RTMPCAST_OK);
        auto frame = row.sound ? Sound({3}) : Picture(0);
        stream.sender.Queue(frame);
        WaitForEnd(stream.sender);
        EXPECT_EQ(stream.server.alive, 0);
        stream.sender.Stop();
        EXPECT_EQ(calls, 0);
    }
}

TEST_P(StreamEnd, ALostLinkOrATimeoutIsToldOnce) {
    for (const bool timed_out : {false, true}) {
        std::vector<int> codes;
        {
            Stream stream(GetParam());
            stream.sender.SetCallback([&](int code) {
                codes.push_back(code);
                EXPECT_FALSE(stream.sender.IsConnected());
                EXPECT_EQ(stream.server.alive, 0);
                stream.sender.Stop();
            });
            ASSERT_EQ(stream.Start(), RTMPCAST_OK);
            stream.Give(Picture(0), 2);
            (timed_out ? stream.server.timed_out : stream.server.connected) = timed_out;
            for (int i = 1; i < 4; ++i) {
                auto frame = Picture(i * ms);
                stream.sender.Queue(frame);
            }
            WaitForEnd(stream.sender);
            EXPECT_EQ(stream.progress->sent, 1U);
            // The sender's end waits for the callback.
        }
        EXPECT_EQ(codes, std::vector<int>{RTMPCAST_CONNECTION_FAILED});
    }
}

TEST_P(StreamEnd, StopDropsWhatWaits) {
    Stream stream(GetParam());
    std::promise<void> at_work;
    std::promise<void> go_on;
    stream.server.on_send = [&, first = true](const SentMessage& message) mutable {
        if (message.type == RtmpMessage::TYPE_VIDEO && std::exchange(first, false)) {
            at_work.set_value();
            go_on.get_future().wait();
        }
        return 1;
    };
    ASSERT_EQ(stream.Start(), RTMPCAST_OK);
    for (int i = 0; i < 5; ++i) {
        auto frame = Picture(i * ms);
        stream.sender.Queue(frame);
    }
    at_work.get_future().wait();
    auto order = make_encoded_frame(encoded_frame::type_stop, nullptr, 0);
    stream.sender.Queue(order);
    EXPECT_EQ(order, nullptr);
    go_on.set_value();
    stream.sender.Stop();
    EXPECT_EQ(stream.Times(RtmpMessage::TYPE_VIDEO).size(), 2U) << "the header and one frame";
    EXPECT_EQ(stream.server.alive, 0);
}

// Frames of which a message was not sent do not count, and frames without a start code send
// nothing; neither ends the stream.
TEST_P(StreamEnd, LostFramesDoNotEndIt) {
    Stream stream(GetParam());
    stream.server.on_send = [](const SentMessage& message) -> int {
        if (message.time == 10) return 0;
        if (message.time == 20) throw std::bad_alloc();
        return 1;
    };
    ASSERT_EQ(stream.Start(), RTMPCAST_OK);
    stream.Give(Picture(0), 2);
    stream.Give(Picture(10 * ms), 1);
    auto lost = Picture(20 * ms);
    stream.sender.Queue(lost);
    auto empty = Picture(30 * ms, false, {});
    stream.sender.Queue(empty);
    stream.Give(Picture(50 * ms), 1);
    EXPECT_TRUE(stream.sender.IsConnected());
    stream.sender.Stop();
    EXPECT_EQ(stream.progress->sent, 2U);
}

TEST(StreamSender, AFailedStartIsLoggedAndToldByItsCodeAlone) {
    const struct {
        void (*prepare)(Stream&);
        int status;
    } cases[] = {
        {[](Stream& s) { s.server.takes_url = false; }, RTMPCAST_BAD_URL},
        {[](Stream& s) { s.server.connects = false; }, RTMPCAST_CONNECTION_FAILED},
        {[](Stream& s) {
             s.server.commands = [](const auto&) -> std::vector<std::string> {
                 throw std::bad_alloc();
             };
         },
         RTMPCAST_CONNECTION_FAILED},
        {[](Stream& s) { s.server.on_send = [](const SentMessage&) { return 0; }; },
         RTMPCAST_STREAM_FAILED},
    };
    for (const auto& row : cases) {
        Stream stream(Framing::Standard);
        row.prepare(stream);
        int calls = 0;
        stream.sender.SetCallback([&](int) { ++calls; });
        TakeErrors();
        EXPECT_EQ(stream.Start(), row.status);
        EXPECT_THAT(TakeErrors(),
                    ElementsAre("RTMP on_start failed: " + std::to_string(row.status)));
        EXPECT_EQ(stream.server.alive, 0);
        stream.sender.Stop();
        EXPECT_EQ(calls, 0);
    }
}

}  // namespace
}  // namespace Vimbrel::test

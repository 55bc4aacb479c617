// The messages of both framings: their order, their headers and their times.
#include <gmock/gmock.h>

#include "base/Clock.h"
#include "tests/Source/cast/StreamKit.h"
#include "tests/fakes/ManualClock.h"

namespace Vimbrel::test {
namespace {

using testing::ElementsAre;

// Nothing before the media, chunks of 128 bytes, and the header of the picture relative to what was
// sent before.
TEST(NativeFraming, HeadersAndPiecesAsToldByteForByte) {
    ManualClock clock;
    const ScopedClock scoped(clock);
    Stream stream(Framing::Native);
    ASSERT_EQ(stream.Start(), RTMPCAST_OK);
    stream.Give(SoundFrame({3, 2}), 2);
    clock.Advance(30);
    stream.Give(SoundFrame({4}), 1);
    stream.Give(PictureFrame(40 * ms, true, {0, 0, 0, 1, 6, 5, 0, 0, 1, 0x65, 9}), 3);
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
        stream.Give(PictureFrame(40 * ms, true, {0, 0, 0, 1, 0x67, 1, 0, 0, 1, 0x65, 9}), 2);
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
    stream.Give(SoundFrame({3, 3, 3}), 4);
    clock.Advance(60);
    stream.Give(SoundFrame({3}), 1);
    clock.Advance(500);
    stream.Give(SoundFrame({3, 3}), 2);
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
        stream.Give(PictureFrame(times[0]), 2);
        for (int i = 1; i < 4; ++i) stream.Give(PictureFrame(times[i]), 1);
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

}  // namespace
}  // namespace Vimbrel::test

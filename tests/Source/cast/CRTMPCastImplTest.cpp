// The cast's operations: what settings make of the encoders, and that no operation throws.
#include "Source/cast/CRTMPCastImpl.h"

#include <gtest/gtest.h>

#include <climits>

#include "tests/fakes/FakePublishingSession.h"
#include "tests/support/ScarceMemory.h"

namespace Vimbrel::test {
namespace {

struct Cast {
    FakePublishingServer server;
    CRTMPCastImpl cast{{}, server.Factory()};
    const live_encoder_aac& aac = cast.Encoders().aac;
    const live_encoder_h264& h264 = cast.Encoders().h264;
};

TEST(RTMPCastSettings, OfPicture) {
    const struct {
        int given, quality;
    } qualities[] = {{2, 0}, {1, 1}, {0, 2}, {3, 1}, {-1, 1}, {INT_MAX, 1}, {INT_MIN, 1}};
    Cast cast;
    EXPECT_EQ(cast.h264.quality, 1);
    EXPECT_EQ(cast.h264.width, 640);
    EXPECT_EQ(cast.h264.height, 480);
    for (const auto& row : qualities) {
        cast.cast.SetVideoQuality(row.given);
        EXPECT_EQ(cast.h264.quality, row.quality) << row.given;
    }
    // Nothing is checked before the start.
    cast.cast.SetVideoOutputFormat(-2, 0, 30000, 1001);
    EXPECT_EQ(cast.h264.width, -2);
    EXPECT_EQ(cast.h264.height, 0);
    EXPECT_EQ(cast.h264.frame_rate_num, 30000U);
    EXPECT_EQ(cast.h264.frame_rate_den, 1001U);
    for (const bool hardware : {true, false}) {
        cast.cast.SetHardwareEncoder(hardware);
        EXPECT_EQ(cast.h264.hardware, hardware);
        EXPECT_EQ(cast.aac.hardware, hardware);
    }
}

TEST(RTMPCastSettings, OfSound) {
    const struct {
        int channels, rate, bytes;
        unsigned got_channels, got_rate, got_bytes;
    } cases[] = {
        {2, 22050, 16000, 2, 44100, 16000},    {3, 48000, 8000, 2, 48000, 16000},
        {1, 48000, 12000, 1, 48000, 12000},    {6, 44100, 20000, 6, 44100, 20000},
        {2, 44100, 24000, 2, 44100, 24000},    {65537, 96000, 24001, 1, 44100, 16000},
        {65536, -1, INT_MIN, 2, 44100, 16000}, {-1, 47999, 0, 2, 44100, 16000},
    };
    for (const auto& row : cases) {
        Cast cast;
        cast.cast.SetAudioOutputFormat(row.channels, row.rate, row.bytes);
        const WAVEFORMATEX& format = cast.aac.format;
        SCOPED_TRACE(testing::Message() << row.channels << ", " << row.rate << ", " << row.bytes);
        EXPECT_EQ(format.nChannels, row.got_channels);
        EXPECT_EQ(format.nSamplesPerSec, row.got_rate);
        EXPECT_EQ(format.wBitsPerSample, 16);
        EXPECT_EQ(format.nBlockAlign, row.got_channels * 2);
        EXPECT_EQ(format.nAvgBytesPerSec, row.got_channels * 2 * row.got_rate);
        EXPECT_EQ(cast.aac.bytes_per_second, row.got_bytes);
        // With a rate or channels of 0 nothing changes, not even the bytes.
        cast.cast.SetAudioOutputFormat(2, 0, 24000);
        cast.cast.SetAudioOutputFormat(0, 48000, 24000);
        EXPECT_EQ(format.nSamplesPerSec, row.got_rate);
        EXPECT_EQ(cast.aac.bytes_per_second, row.got_bytes);
    }
}

TEST(RTMPCastSettings, MetadataSaysWhatTheyAre) {
    Cast cast;
    cast.cast.SetVideoOutputFormat(1280, 720, 30000, 1001);
    cast.cast.SetAudioOutputFormat(1, 48000, 24000);
    const StreamMetadata metadata = cast.cast.Encoders().Metadata(true);
    EXPECT_EQ(metadata.width, 1280);
    EXPECT_EQ(metadata.height, 720);
    EXPECT_DOUBLE_EQ(metadata.frames_per_second, 30000.0 / 1001);
    EXPECT_DOUBLE_EQ(metadata.sample_rate, 48000);
    EXPECT_FALSE(metadata.stereo);
    EXPECT_DOUBLE_EQ(metadata.audio_bits_per_second, 192000);
    // A fraction of nothing does not divide.
    cast.cast.SetVideoOutputFormat(1280, 720, 30, 0);
    EXPECT_DOUBLE_EQ(cast.cast.Encoders().Metadata(false).frames_per_second, 30);
}

// Before the stream stands nothing is taken; what it gets of settings is there, and it ends.
TEST(RTMPCastSettings, SamplesBeforeTheStartAndAStopWithoutOne) {
    Cast cast;
    unsigned char bytes[16] = {};
    cast.cast.SetVideoSample(bytes, 2, 2, 8, 0);
    cast.cast.SetAudioSample(bytes, 16, 0, 0, 0);
    cast.cast.Stop();
    EXPECT_EQ(cast.server.sessions, 0);
    EXPECT_EQ(cast.cast.GetCurrentBitRate(), 0);
    EXPECT_EQ(cast.cast.GetAverageBitRate(), 0);
}

// Wherever no encoder starts, because there is none or for its format.
TEST(RTMPCastSettings, EncodersThatDoNotStartAreTheStartsResult) {
    Cast cast;
    cast.cast.SetVideoOutputFormat(641, 481, 30, 1);
    EXPECT_EQ(cast.cast.Start(), RTMPCAST_ENCODER_FAILED);
    EXPECT_EQ(cast.cast.Start(), RTMPCAST_ENCODER_FAILED);
    EXPECT_EQ(cast.server.sessions, 0);
    cast.cast.Stop();
}

TEST(RTMPCastMemory, SettingsStayAsTheyWereWithoutMemory) {
    Cast cast;
    const std::string text(100, 'x');
    ExpectNoThrow("server", [&] { cast.cast.SetServer(text, text, text); });
    WAVEFORMATEX format{};
    format.cbSize = 4;
    const unsigned char extra[4] = {};
    ExpectNoThrow("input format", [&] { cast.cast.SetAudioInputFormat(format, extra); });
    ExpectNoThrow("stop", [&] { cast.cast.Stop(); });
}

}  // namespace
}  // namespace Vimbrel::test

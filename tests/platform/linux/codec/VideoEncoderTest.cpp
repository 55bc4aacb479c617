// Which encoder is taken, and that those which do not work are passed over in silence.
#include "platform/linux/codec/VideoEncoder.h"

#include <gtest/gtest.h>

#include "tests/platform/linux/mf/Mp4TestKit.h"

namespace Vimbrel::test {
namespace {

// None of these devices is one.
constexpr HardwareEncoder broken[] = {
    {"h264_vaapi", "/dev/null", AV_HWDEVICE_TYPE_VAAPI, AV_PIX_FMT_NV12},
    {"h264_nvenc", "/dev/null", AV_HWDEVICE_TYPE_NONE, AV_PIX_FMT_YUV420P},
    {"h264_qsv", "/dev/null", AV_HWDEVICE_TYPE_NONE, AV_PIX_FMT_NV12},
    {"h264_v4l2m2m", "/dev/null", AV_HWDEVICE_TYPE_NONE, AV_PIX_FMT_YUV420P},
    {"no_such_encoder", "/dev/null", AV_HWDEVICE_TYPE_NONE, AV_PIX_FMT_YUV420P},
    {"libx264", "/dev/no_such_device*", AV_HWDEVICE_TYPE_NONE, AV_PIX_FMT_NV12},
};

TEST(VideoEncoder, PassesOverWhatDoesNotWork) {
    for (const HardwareEncoder& each : broken) {
        SCOPED_TRACE(each.codec);
        std::unique_ptr<VideoEncoder> encoder;
        testing::internal::CaptureStderr();
        const HRESULT hr =
            VideoEncoder::Open({64, 48, 25, 1}, {64, 48, 25, 1, 100'000, 77}, {&each, 1}, encoder);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        ASSERT_EQ(hr, S_OK);
        EXPECT_STREQ(encoder->CodecName(), "libx264");
        EXPECT_EQ(encoder->Reordering(), 2);
    }
}

// With an encoder that takes the form of frames that hardware does.
TEST(VideoEncoder, TakesTheFirstThatWorks) {
    constexpr HardwareEncoder working = {"libx264", "/dev/null", AV_HWDEVICE_TYPE_NONE,
                                         AV_PIX_FMT_NV12};
    const Scene scene;
    std::unique_ptr<VideoEncoder> encoder;
    ASSERT_EQ(
        VideoEncoder::Open({64, 48, 25, 1}, {128, 96, 25, 1, 400'000, 77}, {&working, 1}, encoder),
        S_OK);
    EXPECT_EQ(encoder->Reordering(), 0) << "not the fallback";
    ASSERT_GT(encoder->Configuration().size(), 8u);
    EXPECT_EQ(encoder->Configuration()[1], 77);
    int packets = 0;
    int keys = 0;
    const PacketSink sink = [&](const AVPacket& packet) {
        ++packets;
        if (packet.flags & AV_PKT_FLAG_KEY) ++keys;
        return S_OK;
    };
    // One frame a second: the count of frames would ask for a key frame in 50 s.
    for (int i = 0; i < 9; ++i) {
        ASSERT_EQ(encoder->Encode(Frame(scene, 0).data(), std::int64_t{i} * encoder->Timescale(),
                                  encoder->Timescale(), sink),
                  S_OK);
    }
    ASSERT_EQ(encoder->Flush(sink), S_OK);
    EXPECT_EQ(packets, 9);
    EXPECT_EQ(keys, 5);
}

}  // namespace
}  // namespace Vimbrel::test

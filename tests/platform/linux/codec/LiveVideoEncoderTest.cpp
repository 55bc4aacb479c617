// The live encoder's quality on hardware. libx264 stands for the hardware: it takes frames in the
// same way, and holds some of them back.
#include "platform/linux/codec/LiveVideoEncoder.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/opt.h>
}

#include <vector>

namespace Vimbrel::test {
namespace {

constexpr UINT width = 320;
constexpr UINT height = 240;

HardwareEncoder Encoder(const char* quality, const char* mode_option = nullptr,
                        const char* mode = nullptr) {
    return {"libx264",   "/dev/null", AV_HWDEVICE_TYPE_NONE, AV_PIX_FMT_NV12, quality,
            mode_option, mode};
}

// Of some frames of soft noise; 0 if the encoder does not open.
std::size_t EncodedBytes(const HardwareEncoder& hardware, UINT percent) {
    LiveVideoEncoder encoder;
    const HRESULT hr = encoder.Open({.width = width,
                                     .height = height,
                                     .fps_num = 30,
                                     .fps_den = 1,
                                     .bit_rate = 50'000'000,
                                     .quality_percent = percent},
                                    &hardware);
    if (FAILED(hr)) return 0;
    std::size_t bytes = 0;
    std::uint32_t random = 1;
    for (int number = 0; number < 80; ++number) {
        std::vector<std::uint8_t> nv12(width * height / 2 * 3);
        for (std::uint8_t& value : nv12) {
            random = random * 1664525U + 1013904223U;
            value = static_cast<std::uint8_t>(100 + (random >> 27));
        }
        EXPECT_EQ(encoder.Encode(nv12.data()), S_OK);
        bytes += encoder.AccessUnit().size();
    }
    return bytes;
}

TEST(LiveVideoEncoder, HardwareHoldsTheQuality) {
    const HardwareEncoder encoder = Encoder("crf");
    const std::size_t best = EncodedBytes(encoder, 100);
    const std::size_t medium = EncodedBytes(encoder, 80);
    const std::size_t lowest = EncodedBytes(encoder, 50);
    EXPECT_GT(best, medium * 5 / 4);
    EXPECT_GT(medium, lowest * 5 / 4);
    EXPECT_GT(lowest, 0U);
}

TEST(LiveVideoEncoder, HardwareWithoutTheQualitysModeHoldsTheBitRate) {
    for (const HardwareEncoder& encoder : {Encoder(nullptr), Encoder("crf", "level", "none")})
        EXPECT_GT(EncodedBytes(encoder, 80), 0U);
}

// All that the table names are options of the encoders: a wrong name would be ignored in silence.
TEST(LiveVideoEncoder, TheQualitysOptionsExist) {
    for (const HardwareEncoder& encoder : HardwareEncoders()) {
        const AVCodec* codec = avcodec_find_encoder_by_name(encoder.codec);
        if (codec == nullptr || encoder.quality_option == nullptr) continue;
        const FfmpegPtr<AVCodecContext> context(avcodec_alloc_context3(codec));
        EXPECT_GE(av_opt_set_int(context.get(), encoder.quality_option, 23, AV_OPT_SEARCH_CHILDREN),
                  0)
            << encoder.codec;
        if (encoder.quality_mode_option == nullptr) continue;
        EXPECT_GE(
            av_opt_set(context->priv_data, encoder.quality_mode_option, encoder.quality_mode, 0), 0)
            << encoder.codec;
    }
}

}  // namespace
}  // namespace Vimbrel::test

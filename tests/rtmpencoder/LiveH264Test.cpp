// The H.264 encoder on this system's transforms: synchronous, asynchronous, and on hardware that
// does not work.
#include <gmock/gmock.h>

#include <mfapi.h>
#include <mferror.h>
#include <mftransform.h>
#include <objbase.h>

#include <algorithm>

#include "platform/linux/mf/transform/EncoderList.h"
#include "platform/linux/mf/transform/H264EncoderTransform.h"
#include "rtmpencoder/live_encoder_h264.h"
#include "rtmpencoder/start_code.h"
#include "tests/fakes/AsyncTransform.h"
#include "tests/fakes/CapturingLog.h"
#include "tests/rtmpencoder/H264Frames.h"

namespace Vimbrel::test {
namespace {

// The types of the NAL units of an access unit.
std::vector<int> Kinds(const encoded_frame& frame) {
    const std::span<const std::uint8_t> bytes(frame.data, static_cast<std::size_t>(frame.size));
    std::vector<int> kinds;
    for (start_code code = find_start_code(bytes, 0); code;
         code = find_start_code(bytes, code.place + code.length)) {
        kinds.push_back(bytes[code.place + code.length] & 0x1F);
    }
    return kinds;
}

struct Case {
    const char* name;
    bool hardware;
    std::vector<ListedEncoder> listed;
    bool stays_hardware;  // the setting afterwards
};

HRESULT CreateAsynchronous(REFIID iid, void** object) {
    return MakeCom<AsyncTransform>(MakeCom<H264EncoderTransform>(nullptr).As<IMFTransform>())
        ->QueryInterface(iid, object);
}

// Can be made, and has no device to work on.
HRESULT CreateRefusing(REFIID iid, void** object) {
    static constexpr HardwareEncoder nowhere = {"h264_vaapi", "/nowhere/*", AV_HWDEVICE_TYPE_VAAPI,
                                                AV_PIX_FMT_NV12};
    return MakeCom<AsyncTransform>(MakeCom<H264EncoderTransform>(&nowhere).As<IMFTransform>())
        ->QueryInterface(iid, object);
}

HRESULT CreateNothing(REFIID, void**) { return E_FAIL; }

constexpr UINT32 asynchronous_hardware = MFT_ENUM_FLAG_HARDWARE | MFT_ENUM_FLAG_ASYNCMFT;

const Case cases[] = {
    {"software", false, {}, false},
    {"no hardware", true, {}, true},
    {"asynchronous", true, {{L"a", asynchronous_hardware, CreateAsynchronous}}, true},
    {"the first that can be made",
     true,
     {{L"a", asynchronous_hardware, CreateNothing},
      {L"b", asynchronous_hardware, CreateAsynchronous}},
     true},
    {"synchronous",
     true,
     {{L"a", MFT_ENUM_FLAG_HARDWARE | MFT_ENUM_FLAG_SYNCMFT, CreateSoftwareH264Encoder}},
     true},
    {"refuses the types", true, {{L"a", asynchronous_hardware, CreateRefusing}}, false},
};

void PrintTo(const Case& row, std::ostream* out) { *out << row.name; }

class LiveH264 : public testing::TestWithParam<Case> {};

TEST_P(LiveH264, EncodesEachFrameIntoOneSliceWithoutDelay) {
    const ScopedHardwareEncoders listed(GetParam().listed);
    FrameCollector collector;
    live_encoder_h264 encoder;
    encoder.dispatcher = &collector;
    encoder.hardware = GetParam().hardware;
    encoder.width = 160;
    encoder.height = 120;
    ASSERT_TRUE(encoder.start());
    EXPECT_EQ(encoder.hardware, GetParam().stays_hardware);
    constexpr int count = 65;
    // An asynchronous encoder works on one frame when it gets the next.
    const bool asynchronous = std::any_of(
        GetParam().listed.begin(), GetParam().listed.end(),
        [](const ListedEncoder& one) { return (one.flags & MFT_ENUM_FLAG_ASYNCMFT) != 0; });
    const int behind = asynchronous ? 3 : 0;
    for (int i = 0; i < count; ++i) {
        PostFrame(encoder, 160, 120, i);
        if (i >= behind) {
            ASSERT_TRUE(collector.WaitFor(static_cast<std::size_t>(i + 1 - behind))) << i;
        }
    }
    encoder.stop();

    ASSERT_GE(collector.frames.size(), static_cast<std::size_t>(count - behind));
    ASSERT_GT(encoder.sps.size(), 8U);
    EXPECT_EQ((std::vector<int>{encoder.sps[0], encoder.sps[1], encoder.sps[2], encoder.sps[3],
                                encoder.sps[4] & 0x1F, encoder.sps[5], encoder.sps[7]}),
              (std::vector<int>{0, 0, 0, 1, 7, 77, 41}));
    ASSERT_GT(encoder.pps.size(), 5U);
    EXPECT_EQ(encoder.pps[3], 1);
    EXPECT_EQ(encoder.pps[4] & 0x1F, 8);
    for (std::size_t i = 0; i < collector.frames.size(); ++i) {
        const encoded_frame& frame = *collector.frames[i];
        const std::vector<int> kinds = Kinds(frame);
        const int pictures = static_cast<int>(std::count_if(
            kinds.begin(), kinds.end(), [](int kind) { return kind == 1 || kind == 5; }));
        EXPECT_EQ(pictures, 1) << i;
        EXPECT_EQ(frame.key != 0, i % 30 == 0) << i;
        EXPECT_EQ(frame.time, static_cast<std::int64_t>(i) * 333'333) << i;
        if (frame.key == 0) continue;
        EXPECT_EQ((std::vector<int>{kinds.at(0), kinds.at(1), kinds.back()}),
                  (std::vector<int>{7, 8, 5}))
            << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Encoders, LiveH264, testing::ValuesIn(cases), [](const auto& test) {
    std::string name = test.param.name;
    std::erase(name, ' ');
    return name;
});

TEST(LiveH264Start, FailsWithItsWordsForFormatsThatNobodyTakes) {
    const struct {
        int width, height;
        std::uint32_t fps;
        const char* words;
    } formats[] = {
        {641, 480, 30, "Live - Create clrspace convert failed - 0x"},
        {0, 480, 30, "Live - Create clrspace convert failed - 0x"},
        {-2, 240, 30, "Live - Create clrspace convert failed - 0x"},
        {100000, 100000, 30, "Live - Create clrspace convert failed - 0x"},
        {640, 480, 0, "Live - Create video encoder failed - 0x"},
    };
    for (const auto& format : formats) {
        TakeErrors();
        live_encoder_h264 encoder;
        encoder.width = format.width;
        encoder.height = format.height;
        encoder.frame_rate_num = format.fps;
        EXPECT_FALSE(encoder.start());
        EXPECT_THAT(TakeErrors(), testing::Contains(testing::StartsWith(format.words)))
            << format.width << " x " << format.height;
    }
}

TEST(LiveH264Start, LevelsFollowTheFormat) {
    const struct {
        int width, height, level;
    } formats[] = {{2, 2, 41}, {16, 16, 41}, {2048, 1080, 41}, {2050, 1080, 51}, {1920, 1088, 51}};
    for (const auto& format : formats) {
        FrameCollector collector;
        live_encoder_h264 encoder;
        encoder.dispatcher = &collector;
        encoder.width = format.width;
        encoder.height = format.height;
        ASSERT_TRUE(encoder.start());
        PostFrame(encoder, 64, 64, 0);
        ASSERT_TRUE(collector.WaitFor(1));
        encoder.stop();
        ASSERT_GT(encoder.sps.size(), 8U);
        EXPECT_EQ(encoder.sps[7], format.level) << format.width << " x " << format.height;
    }
}

// A first time of 0 counts as none, and the second frame's becomes the origin.
TEST(LiveH264Frames, OfATimeOfZeroAreEncodedAndTheNextIsTheOrigin) {
    FrameCollector collector;
    live_encoder_h264 encoder;
    encoder.dispatcher = &collector;
    encoder.width = 64;
    encoder.height = 48;
    ASSERT_TRUE(encoder.start());
    for (int i = 0; i < 4; ++i) PostFrame(encoder, 64, 48, i, 0);
    ASSERT_TRUE(collector.WaitFor(4));
    encoder.stop();
    std::vector<std::int64_t> times;
    for (const auto& frame : collector.frames) times.push_back(frame->time);
    EXPECT_THAT(times, testing::ElementsAre(0, 0, 333'333, 666'666));
}

// They are so long and thin that they would have no height: shown as they lie in memory, and black
// where that is too little.
TEST(LiveH264Frames, WithoutAFitAreEncodedAllTheSame) {
    FrameCollector collector;
    live_encoder_h264 encoder;
    encoder.dispatcher = &collector;
    encoder.width = 160;
    encoder.height = 120;
    ASSERT_TRUE(encoder.start());
    PostFrame(encoder, 30000, 1, 0);
    PostFrame(encoder, 1000, 1, 1);
    EXPECT_TRUE(collector.WaitFor(2));
    encoder.stop();
    // The first is a picture, and the second is none.
    EXPECT_GT(collector.frames.at(0)->size, 2000);
    EXPECT_LT(collector.frames.at(1)->size, 1000);
}

// The user of an asynchronous transform has to say that it knows.
TEST(AsyncTransform, IsLockedUntilItIsUnlocked) {
    void* made = nullptr;
    ASSERT_EQ(CreateAsynchronous(__uuidof(IMFTransform), &made), S_OK);
    ComPtr<IMFTransform> transform;
    transform.Attach(static_cast<IMFTransform*>(made));
    EXPECT_EQ(transform->SetOutputType(0, nullptr, 0), MF_E_TRANSFORM_ASYNC_LOCKED);
    ComPtr<IMFAttributes> attributes;
    ASSERT_EQ(transform->GetAttributes(attributes.Put()), S_OK);
    EXPECT_EQ(MFGetAttributeUINT32(attributes.Get(), MF_TRANSFORM_ASYNC, 0), 1U);
    attributes->SetUINT32(MF_TRANSFORM_ASYNC_UNLOCK, 1);
    EXPECT_EQ(transform->SetOutputType(0, nullptr, 0), S_OK);
    ComPtr<IMFSample> sample;
    ASSERT_EQ(MFCreateSample(sample.Put()), S_OK);
    EXPECT_EQ(transform->ProcessInput(0, sample.Get(), 0), MF_E_NOTACCEPTING);
}

}  // namespace
}  // namespace Vimbrel::test

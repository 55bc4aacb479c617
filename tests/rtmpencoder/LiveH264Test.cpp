// The H.264 encoder on this system's transforms: in turns, by events, and with hardware that is not
// what it seems.
#include <gmock/gmock.h>

#include <mfapi.h>
#include <mferror.h>
#include <mftransform.h>
#include <objbase.h>

#include <condition_variable>
#include <mutex>

#include "platform/linux/mf/transform/AsyncTransform.h"
#include "platform/linux/mf/transform/EncoderList.h"
#include "platform/linux/mf/transform/H264EncoderTransform.h"
#include "rtmpencoder/live_encoder_h264.h"
#include "rtmpencoder/start_code.h"
#include "tests/fakes/CapturingLog.h"

namespace Vimbrel::test {
namespace {

class Collector final : public live_encoder::dispatcher {
public:
    void dispatch(encoded_frame_ptr& frame) override {
        const std::lock_guard guard(lock);
        frames.push_back(std::move(frame));
        changed.notify_all();
    }
    bool WaitFor(std::size_t count) {
        std::unique_lock guard(lock);
        return changed.wait_for(guard, std::chrono::seconds(20),
                                [&] { return frames.size() >= count; });
    }

    std::mutex lock;
    std::condition_variable changed;
    std::vector<encoded_frame_ptr> frames;
};

void Post(live_encoder_h264& encoder, std::uint32_t width, std::uint32_t height, int number) {
    auto frame = std::make_unique<live_encoder_h264::packet_video>();
    frame->width = width;
    frame->height = height;
    frame->time = 5'000'000 + number * 333'333LL;
    frame->data = std::make_unique<std::uint8_t[]>(std::size_t{4} * width * height);
    for (std::size_t i = 0; i < std::size_t{4} * width * height; ++i) {
        frame->data[i] = static_cast<std::uint8_t>(
            i / 4 % width * 2 + static_cast<std::size_t>(number) * 5 + i % 4 * 40);
    }
    std::unique_ptr<live_encoder::packet> packet = std::move(frame);
    encoder.post(packet);
}

// The kinds of the units of an access unit.
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
    bool stays_hardware;  // what the owner reads afterwards
};

HRESULT CreateByEvents(REFIID iid, void** object) {
    return MakeCom<AsyncTransform>(MakeCom<H264EncoderTransform>(nullptr).As<IMFTransform>())
        ->QueryInterface(iid, object);
}

// Listed, and made, but without the device that it is to work on.
HRESULT CreateRefusing(REFIID iid, void** object) {
    static constexpr HardwareEncoder nowhere = {"h264_vaapi", "/nowhere/*", AV_HWDEVICE_TYPE_VAAPI,
                                                AV_PIX_FMT_NV12};
    return MakeCom<AsyncTransform>(MakeCom<H264EncoderTransform>(&nowhere).As<IMFTransform>())
        ->QueryInterface(iid, object);
}

HRESULT CreateNothing(REFIID, void**) { return E_FAIL; }

constexpr UINT32 hardware_by_events = MFT_ENUM_FLAG_HARDWARE | MFT_ENUM_FLAG_ASYNCMFT;

const Case cases[] = {
    {"software", false, {}, false},
    {"no hardware", true, {}, true},
    {"by events", true, {{L"a", hardware_by_events, CreateByEvents}}, true},
    {"the first that can be made",
     true,
     {{L"a", hardware_by_events, CreateNothing}, {L"b", hardware_by_events, CreateByEvents}},
     true},
    {"in turns",
     true,
     {{L"a", MFT_ENUM_FLAG_HARDWARE | MFT_ENUM_FLAG_SYNCMFT, CreateSoftwareH264Encoder}},
     true},
    {"refuses the types", true, {{L"a", hardware_by_events, CreateRefusing}}, false},
};

void PrintTo(const Case& row, std::ostream* out) { *out << row.name; }

class LiveH264 : public testing::TestWithParam<Case> {};

TEST_P(LiveH264, EncodesEachFrameIntoOneSliceWithoutDelay) {
    const ScopedHardwareEncoders listed(GetParam().listed);
    Collector collector;
    live_encoder_h264 encoder;
    encoder.dispatcher = &collector;
    encoder.hardware = GetParam().hardware;
    encoder.width = 160;
    encoder.height = 120;
    ASSERT_TRUE(encoder.start());
    EXPECT_EQ(encoder.hardware, GetParam().stays_hardware);
    constexpr int count = 65;
    // An encoder that works by events has one frame in work when it is handed the next.
    const int behind = GetParam().listed.empty() ? 0 : 3;
    for (int i = 0; i < count; ++i) {
        Post(encoder, 160, 120, i);
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
        {641, 480, 30, "Live - Create clrspace convert failed - 0x%08X"},
        {0, 480, 30, "Live - Create clrspace convert failed - 0x%08X"},
        {-2, 240, 30, "Live - Create clrspace convert failed - 0x%08X"},
        {100000, 100000, 30, "Live - Create clrspace convert failed - 0x%08X"},
        {640, 480, 0, "Live - Create video encoder failed - 0x%08X"},
    };
    for (const auto& format : formats) {
        TakeErrors();
        live_encoder_h264 encoder;
        encoder.width = format.width;
        encoder.height = format.height;
        encoder.frame_rate_num = format.fps;
        EXPECT_FALSE(encoder.start());
        std::string head = format.words;
        head.resize(head.find("0x"));
        EXPECT_THAT(TakeErrors(), testing::Contains(testing::StartsWith(head)))
            << format.width << " x " << format.height;
    }
}

TEST(LiveH264Start, LevelsAndKeyFramesFollowTheFormat) {
    const struct {
        int width, height, level;
    } formats[] = {{2, 2, 41}, {16, 16, 41}, {2048, 1080, 41}, {2050, 1080, 51}, {1920, 1088, 51}};
    for (const auto& format : formats) {
        Collector collector;
        live_encoder_h264 encoder;
        encoder.dispatcher = &collector;
        encoder.width = format.width;
        encoder.height = format.height;
        ASSERT_TRUE(encoder.start());
        Post(encoder, 64, 64, 0);
        ASSERT_TRUE(collector.WaitFor(1));
        encoder.stop();
        ASSERT_GT(encoder.sps.size(), 8U);
        EXPECT_EQ(encoder.sps[7], format.level) << format.width << " x " << format.height;
    }
}

// So long and thin that they would have no height: shown as they lie in memory, and black where
// that is too little.
TEST(LiveH264Frames, WithoutAFitAreEncodedAllTheSame) {
    Collector collector;
    live_encoder_h264 encoder;
    encoder.dispatcher = &collector;
    encoder.width = 160;
    encoder.height = 120;
    ASSERT_TRUE(encoder.start());
    Post(encoder, 30000, 1, 0);
    Post(encoder, 1000, 1, 1);
    EXPECT_TRUE(collector.WaitFor(2));
    encoder.stop();
    // The first is a picture, and the second is none.
    EXPECT_GT(collector.frames.at(0)->size, 2000);
    EXPECT_LT(collector.frames.at(1)->size, 1000);
}

// Its user has to know that it works by events.
TEST(AsyncTransform, IsLockedUntilItIsUnlocked) {
    void* made = nullptr;
    ASSERT_EQ(CreateByEvents(__uuidof(IMFTransform), &made), S_OK);
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

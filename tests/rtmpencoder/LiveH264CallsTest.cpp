// Calls of the live H.264 encoder into its transform: their order, and the values that it sets.
#include <gmock/gmock.h>

#include <codecapi.h>
#include <mfapi.h>
#include <strmif.h>

#include <algorithm>

#include "platform/linux/mf/transform/EncoderList.h"
#include "platform/linux/mf/transform/H264EncoderTransform.h"
#include "tests/fakes/ForwardingTransform.h"
#include "tests/rtmpencoder/H264Frames.h"

namespace Vimbrel::test {
namespace {

struct Calls {
    std::vector<std::string> names;
    UINT32 bit_rate = 0;
    UINT32 profile = 0;
    UINT32 level = 0;
    UINT32 key_frame_spacing = 99;
    UINT32 interlace = 0;
    UINT32 independent = 0;
};

class RecordingTransform final
    : public ForwardingTransform<Implements<IMFTransform>, Implements<ICodecAPI>> {
public:
    explicit RecordingTransform(Calls& made)
        : ForwardingTransform(MakeCom<H264EncoderTransform>(nullptr).As<IMFTransform>()),
          codec(inner.As<ICodecAPI>()),
          calls(made) {}

    HRESULT STDMETHODCALLTYPE GetOutputStreamInfo(DWORD stream,
                                                  MFT_OUTPUT_STREAM_INFO* info) override {
        calls.names.push_back("info");
        return ForwardingTransform::GetOutputStreamInfo(stream, info);
    }
    HRESULT STDMETHODCALLTYPE SetInputType(DWORD stream, IMFMediaType* type, DWORD flags) override {
        calls.names.push_back("input type");
        return ForwardingTransform::SetInputType(stream, type, flags);
    }
    HRESULT STDMETHODCALLTYPE SetOutputType(DWORD stream, IMFMediaType* type,
                                            DWORD flags) override {
        calls.names.push_back("output type");
        type->GetUINT32(MF_MT_AVG_BITRATE, &calls.bit_rate);
        type->GetUINT32(MF_MT_MPEG2_PROFILE, &calls.profile);
        type->GetUINT32(MF_MT_MPEG2_LEVEL, &calls.level);
        type->GetUINT32(MF_MT_MAX_KEYFRAME_SPACING, &calls.key_frame_spacing);
        type->GetUINT32(MF_MT_INTERLACE_MODE, &calls.interlace);
        type->GetUINT32(MF_MT_ALL_SAMPLES_INDEPENDENT, &calls.independent);
        return ForwardingTransform::SetOutputType(stream, type, flags);
    }
    HRESULT STDMETHODCALLTYPE ProcessMessage(MFT_MESSAGE_TYPE message,
                                             ULONG_PTR parameter) override {
        char text[32];
        std::snprintf(text, sizeof text, "message %x", static_cast<unsigned>(message));
        calls.names.push_back(text);
        return ForwardingTransform::ProcessMessage(message, parameter);
    }
    HRESULT STDMETHODCALLTYPE ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) override {
        calls.names.push_back("input");
        return ForwardingTransform::ProcessInput(stream, sample, flags);
    }
    HRESULT STDMETHODCALLTYPE ProcessOutput(DWORD flags, DWORD count,
                                            MFT_OUTPUT_DATA_BUFFER* samples,
                                            DWORD* status) override {
        calls.names.push_back("output");
        return ForwardingTransform::ProcessOutput(flags, count, samples, status);
    }

    HRESULT STDMETHODCALLTYPE IsSupported(const GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsModifiable(const GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetParameterRange(const GUID*, VARIANT*, VARIANT*,
                                                VARIANT*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetParameterValues(const GUID*, VARIANT**, ULONG*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetDefaultValue(const GUID*, VARIANT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetValue(const GUID*, VARIANT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetValue(const GUID* api, VARIANT* value) override {
        const bool mode = *api == CODECAPI_AVEncCommonRateControlMode;
        const bool quality = *api == CODECAPI_AVEncCommonQuality;
        EXPECT_EQ(value->vt, VT_UI4);
        calls.names.push_back((mode      ? "mode "
                               : quality ? "quality "
                                         : "other ") +
                              std::to_string(value->ulVal));
        return codec->SetValue(api, value);
    }

private:
    const ComPtr<ICodecAPI> codec;
    Calls& calls;
};

// An encoder whose transform notes its calls.
class Recorded {
public:
    Recorded() {
        encoder.dispatcher = &collector;
        encoder.hardware = true;
        encoder.width = 64;
        encoder.height = 48;
    }

    Calls calls;
    FrameCollector collector;
    live_encoder_h264 encoder;

private:
    const ScopedHardwareEncoders listed{
        {{L"recorded", MFT_ENUM_FLAG_HARDWARE | MFT_ENUM_FLAG_SYNCMFT,
          [this](REFIID iid, void** object) {
              return MakeCom<RecordingTransform>(calls)->QueryInterface(iid, object);
          }}}};
};

TEST(LiveH264Calls, HaveTheirOrder) {
    Recorded recorded;
    ASSERT_TRUE(recorded.encoder.start());
    PostFrame(recorded.encoder, 64, 48, 0);
    ASSERT_TRUE(recorded.collector.WaitFor(1));
    recorded.encoder.stop();
    EXPECT_THAT(recorded.calls.names,
                testing::ElementsAre("output type", "input type", "info", "mode 3", "quality 80",
                                     "message 0", "message 10000000", "message 10000003", "input",
                                     "info", "output", "message 10000002", "message 1"));
    EXPECT_EQ(recorded.calls.profile, 77U);
    EXPECT_EQ(recorded.calls.interlace, 2U);
    EXPECT_EQ(recorded.calls.independent, 1U);
}

TEST(LiveH264Calls, BitRatePercentAndKeyFramesFollowTheSettings) {
    const struct {
        int quality, width, height;
        std::uint32_t fps_num, fps_den;
        UINT32 bit_rate;
        const char* percent;
        UINT32 level, spacing;
    } cases[] = {
        {0, 640, 480, 30, 1, 1'536'000, "quality 100", 41, 30},
        {1, 640, 480, 30000, 1001, 768'000, "quality 80", 41, 29},
        {2, 640, 480, 60, 1, 307'200, "quality 50", 41, 60},
        {1, 2050, 2, 24, 1, 10'250, "quality 80", 51, 24},
        {1, 2, 1088, 25, 1, 5'440, "quality 80", 51, 25},
        {1, 2048, 1080, 3, 2, 5'529'600, "quality 80", 41, 1},
        {1, 64, 48, 1, 2, 7'680, "quality 80", 41, 0},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(testing::Message() << row.quality << ": " << row.width << " x " << row.height);
        Recorded recorded;
        recorded.encoder.quality = row.quality;
        recorded.encoder.width = row.width;
        recorded.encoder.height = row.height;
        recorded.encoder.frame_rate_num = row.fps_num;
        recorded.encoder.frame_rate_den = row.fps_den;
        ASSERT_TRUE(recorded.encoder.start());
        recorded.encoder.stop();
        EXPECT_EQ(recorded.calls.bit_rate, row.bit_rate);
        EXPECT_THAT(recorded.calls.names, testing::Contains(row.percent));
        EXPECT_EQ(recorded.calls.level, row.level);
        EXPECT_EQ(recorded.calls.key_frame_spacing, row.spacing);
    }
    // A quality that does not exist has no bit rate, which no encoder takes.
    Recorded unknown;
    unknown.encoder.quality = 7;
    EXPECT_FALSE(unknown.encoder.start());
    EXPECT_EQ(unknown.calls.bit_rate, 0U);
}

// A key frame a second is each frame then, and not the encoder's own distance.
TEST(LiveH264Calls, BelowAFramePerSecondEachIsAKeyFrame) {
    FrameCollector collector;
    live_encoder_h264 encoder;
    encoder.dispatcher = &collector;
    encoder.width = 64;
    encoder.height = 48;
    encoder.frame_rate_den = 45;
    ASSERT_TRUE(encoder.start());
    constexpr int count = 5;
    for (int i = 0; i < count; ++i) PostFrame(encoder, 64, 48, i);
    ASSERT_TRUE(collector.WaitFor(count));
    encoder.stop();
    EXPECT_EQ(std::count_if(collector.frames.begin(), collector.frames.end(),
                            [](const encoded_frame_ptr& frame) { return frame->key != 0; }),
              count);
}

}  // namespace
}  // namespace Vimbrel::test

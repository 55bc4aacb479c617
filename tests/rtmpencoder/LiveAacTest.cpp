// The AAC encoder on this system's transform.
#include <gmock/gmock.h>

#include <mferror.h>
#include <wmcodecdsp.h>

#include <cmath>
#include <cstring>
#include <mutex>
#include <utility>

#include "base/ObjectCreation.h"
#include "platform/linux/mf/transform/AacEncoderTransform.h"
#include "rtmpencoder/live_encoder_aac.h"
#include "tests/fakes/CapturingLog.h"
#include "tests/fakes/ForwardingTransform.h"

namespace Vimbrel::test {
namespace {

class Collector final : public live_encoder::dispatcher {
public:
    void dispatch(encoded_frame_ptr& frame) override {
        const std::lock_guard guard(lock);
        frames.push_back(std::move(frame));
    }
    std::mutex lock;
    std::vector<encoded_frame_ptr> frames;
};

// Calls the encoder on the test's thread, as its own thread would.
class DirectAac {
public:
    DirectAac() { encoder.dispatcher = &collector; }

    bool Post(int samples, std::uint32_t flags = 0) {
        live_encoder_aac::packet_audio block;
        block.size = samples * encoder.format.nBlockAlign;
        block.flags = flags;
        block.data = std::make_unique<std::uint8_t[]>(static_cast<std::size_t>(block.size));
        auto* const values = reinterpret_cast<std::int16_t*>(block.data.get());
        for (int i = 0; i < samples * encoder.format.nChannels; ++i, ++position) {
            values[i] = static_cast<std::int16_t>(9000 * std::sin(position * 0.05));
        }
        return encoder.on_packet(&block);
    }

    Collector collector;
    live_encoder_aac encoder;
    int position = 0;
};

TEST(LiveAac, HasItsConfigurationAndGivesRawFrames) {
    const struct {
        std::uint16_t channels;
        std::uint32_t rate;
        std::uint8_t first, second;  // AudioSpecificConfig: AAC LC, rate, channels
    } formats[] = {{2, 44100, 0x12, 0x10}, {1, 48000, 0x11, 0x88}, {6, 48000, 0x11, 0xB0}};
    for (const auto& format : formats) {
        DirectAac direct;
        WAVEFORMATEX& wave = direct.encoder.format;
        wave.nChannels = format.channels;
        wave.nSamplesPerSec = format.rate;
        wave.nBlockAlign = static_cast<std::uint16_t>(format.channels * 2);
        wave.nAvgBytesPerSec = wave.nBlockAlign * format.rate;
        direct.encoder.bytes_per_second = 24000;
        ASSERT_TRUE(direct.encoder.on_start());
        ASSERT_GE(direct.encoder.audio_specific_config.size(), 2U);
        EXPECT_EQ(direct.encoder.audio_specific_config[0], format.first);
        EXPECT_EQ(direct.encoder.audio_specific_config[1], format.second);
        for (int i = 0; i < 200; ++i) ASSERT_TRUE(direct.Post(1024));
        EXPECT_GE(direct.collector.frames.size(), 197U);
        std::size_t bytes = 0;
        for (const auto& frame : direct.collector.frames) {
            EXPECT_EQ(frame->type, encoded_frame::type_aac);
            EXPECT_NE(frame->data[0], 0xFF);  // no ADTS header
            bytes += static_cast<std::size_t>(frame->size);
        }
        const double seconds = 200.0 * 1024 / format.rate;
        EXPECT_LT(static_cast<double>(bytes) / seconds, 24000 * 1.1);
        direct.encoder.on_stop();
    }
}

TEST(LiveAac, BlocksOfAnySizeAndSilence) {
    DirectAac direct;
    ASSERT_TRUE(direct.encoder.on_start());
    // A block of less than an AAC frame yields nothing yet.
    ASSERT_TRUE(direct.Post(100));
    EXPECT_TRUE(direct.collector.frames.empty());
    // All frames of a long block come in one.
    ASSERT_TRUE(direct.Post(10240));
    EXPECT_EQ(direct.collector.frames.size(), 1U);
    // More than two seconds are cut to two.
    ASSERT_TRUE(direct.Post(44100 * 3));
    EXPECT_EQ(direct.collector.frames.size(), 2U);
    // Silence does not read the bytes, and is small.
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(direct.Post(1024, live_encoder_aac::packet_audio::flag_silence));
    EXPECT_LT(direct.collector.frames.back()->size, 40);
    direct.encoder.on_stop();
}

using Inputs = std::vector<std::pair<LONGLONG, LONGLONG>>;  // time and duration

class NotingTransform final : public ForwardingTransform<Implements<IMFTransform>> {
public:
    explicit NotingTransform(Inputs& noted)
        : ForwardingTransform(MakeCom<AacEncoderTransform>().As<IMFTransform>()), inputs(noted) {}

    HRESULT STDMETHODCALLTYPE ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) override {
        auto& [time, duration] = inputs.emplace_back();
        sample->GetSampleTime(&time);
        sample->GetSampleDuration(&duration);
        if (inputs.size() > 102) return MF_E_NOTACCEPTING;
        return ForwardingTransform::ProcessInput(stream, sample, flags);
    }

private:
    Inputs& inputs;
};

// The time rises with every hundredth block. The duration is neither the block's nor cut with it.
TEST(LiveAac, TimesOfInputAreKeptAsTheyAreAndARefusalEndsIt) {
    Inputs inputs;
    const ScopedClassOverride noting(CLSID_AACMFTEncoder, [&](REFIID iid, void** object) {
        return MakeCom<NotingTransform>(inputs)->QueryInterface(iid, object);
    });
    DirectAac direct;
    ASSERT_TRUE(direct.encoder.on_start());
    for (int i = 0; i < 101; ++i) ASSERT_TRUE(direct.Post(1024));
    ASSERT_TRUE(direct.Post(44100 * 3));
    EXPECT_FALSE(direct.Post(1024));
    EXPECT_EQ(inputs.at(0), Inputs::value_type(0, 215'332));
    EXPECT_EQ(inputs.at(99), Inputs::value_type(0, 215'332));
    EXPECT_EQ(inputs.at(100), Inputs::value_type(1, 215'332));
    EXPECT_EQ(inputs.at(101), Inputs::value_type(1, 1'666));
    direct.encoder.on_stop();
}

TEST(LiveAac, RemembersFormatChangesAndKeepsItsOwn) {
    DirectAac direct;
    live_encoder_aac::packet_audio_changing same;
    same.format = direct.encoder.format;
    EXPECT_TRUE(direct.encoder.on_packet(&same));
    EXPECT_FALSE(direct.encoder.format_differs);
    live_encoder_aac::packet_audio_changing other;
    other.format = direct.encoder.format;
    other.format.nSamplesPerSec = 96000;
    EXPECT_TRUE(direct.encoder.on_packet(&other));
    EXPECT_TRUE(direct.encoder.format_differs);
    EXPECT_EQ(direct.encoder.format.nSamplesPerSec, 44100U);
}

TEST(LiveAac, RefusedFormatsAreLogged) {
    DirectAac direct;
    direct.encoder.format.nChannels = 3;
    TakeErrors();
    EXPECT_FALSE(direct.encoder.on_start());
    EXPECT_THAT(TakeErrors(),
                testing::ElementsAre("Live - SetInputType for audio encoder failed - 0xC00D36B4"));
}

}  // namespace
}  // namespace Vimbrel::test

#include "apps/vimbrel/sound/SoundMixer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string_view>

#include "tests/support/TempFolder.h"

namespace studio {
namespace {

using Vimbrel::test::Bytes;
using Vimbrel::test::TempFolder;

// A WAV file of 16 bits whose samples are `value(frame, channel)`.
template <class Value>
Bytes Wav(int rate, int channels, int frames, Value value) {
    Bytes bytes;
    const auto put = [&](unsigned number, int size) {
        for (int i = 0; i < size; ++i)
            bytes.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
    };
    const auto text = [&](std::string_view name) {
        for (const char letter : name) bytes.push_back(static_cast<std::uint8_t>(letter));
    };
    const auto data = static_cast<unsigned>(frames * channels * 2);
    text("RIFF");
    put(36 + data, 4);
    text("WAVE");
    text("fmt ");
    put(16, 4);
    put(1, 2);
    put(static_cast<unsigned>(channels), 2);
    put(static_cast<unsigned>(rate), 4);
    put(static_cast<unsigned>(rate * channels * 2), 4);
    put(static_cast<unsigned>(channels * 2), 2);
    put(16, 2);
    text("data");
    put(data, 4);
    for (int frame = 0; frame < frames; ++frame) {
        for (int channel = 0; channel < channels; ++channel)
            put(static_cast<unsigned>(value(frame, channel)), 2);
    }
    return bytes;
}

class SoundMixerTest : public testing::Test {
protected:
    void Add(const std::string& name, const Bytes& bytes, double volume = 1.0) {
        descriptions.push_back({"sound[" + std::to_string(descriptions.size()) + "]", volume,
                                SoundFileDescription{folder.Write(name, bytes)}});
    }
    void Open() {
        std::string error;
        mixer = SoundMixer::Open(descriptions, error);
        ASSERT_TRUE(mixer) << error;
    }
    std::vector<int> Read(std::size_t frames) {
        const std::int16_t* const mixed = mixer->Read(frames);
        return {mixed, mixed + frames * 2};
    }

    const TempFolder folder;
    std::vector<SoundDescription> descriptions;
    std::unique_ptr<SoundMixer> mixer;
};

TEST_F(SoundMixerTest, AddsWithVolumesAndSaturatesAndIsSilentBehindTheEnd) {
    Add("stereo.wav", Wav(44100, 2, 4, [](int frame, int channel) {
            return (frame + 1) * (channel == 0 ? 8000 : -8000);
        }));
    Add("mono.wav", Wav(44100, 1, 3, [](int frame, int) { return frame == 2 ? 30000 : 100; }), 0.5);
    Open();
    EXPECT_EQ(mixer->Rate(), 44100);
    EXPECT_EQ(Read(3), (std::vector{8050, -7950, 16050, -15950, 32767, -9000}));
    EXPECT_EQ(Read(3), (std::vector{32000, -32000, 0, 0, 0, 0}));
}

// A tone at one rate is the same tone at another, from its first sample to the last of many blocks.
TEST_F(SoundMixerTest, OtherRatesAreConverted) {
    constexpr double tone = 1000;
    const auto wave = [](double seconds) {
        return 20000 * std::sin(2 * std::numbers::pi * tone * seconds);
    };
    for (const int rate : {8000, 22050, 32000, 44100, 96000}) {
        SCOPED_TRACE(rate);
        descriptions.clear();
        Add("tone.wav", Wav(rate, 1, rate * 2, [&](int frame, int) {
                return static_cast<int>(std::lround(wave(frame / double(rate))));
            }));
        Add("clock.wav", Wav(48000, 1, 1, [](int, int) { return 0; }));
        Open();
        ASSERT_EQ(mixer->Rate(), 48000);
        double worst = 0;
        int frame = 0;
        for (const int block : {1, 479, 4800, 7, 40000, 30000}) {
            const std::vector<int> mixed = Read(static_cast<std::size_t>(block));
            for (int i = 0; i < block; ++i, ++frame) {
                // The tone's hard beginning rings.
                if (frame > 480)
                    worst = std::max(worst, std::abs(mixed[static_cast<std::size_t>(i) * 2] -
                                                     wave(frame / 48000.0)));
            }
        }
        EXPECT_LT(worst, 60) << "0.3 per cent of the tone";
    }
}

TEST_F(SoundMixerTest, SaysWhichFileIsBad) {
    const struct {
        std::string name;
        const char* message;
    } cases[] = {
        {"missing.wav", "there is no such file"},
        {"text.wav", "is not a sound file that can be read"},
        {"empty.wav", "is not a sound file that can be read"},
        {"", "is a folder"},
    };
    folder.Write("text.wav", std::string("This is no sound"));
    folder.Write("empty.wav", Bytes());
    for (const auto& each : cases) {
        std::string error;
        EXPECT_FALSE(
            SoundMixer::Open({{"sound[0]", 1.0, SoundFileDescription{folder / each.name}}}, error));
        EXPECT_THAT(error, testing::StartsWith("sound[0].file: " + (folder / each.name).string() +
                                               ": " + each.message));
    }
}

TEST_F(SoundMixerTest, LevelsAreThoseSinceTheLastQuestion) {
    Add("half.wav", Wav(44100, 1, 4, [](int frame, int) { return frame < 2 ? -16384 : 0; }));
    Open();
    Read(2);
    EXPECT_NEAR(mixer->Levels().at(0).peak, 0.5, 0.01);
    Read(2);
    EXPECT_EQ(mixer->Levels().at(0).peak, 0);
    mixer->ToggleMicrophones();
    EXPECT_EQ(mixer->Levels().at(0).peak, 0);
}

TEST(SampleQueue, WaitsForItsLeadAndEvensOutTheClocks) {
    SampleQueue queue(4, 10);
    const std::vector<std::int16_t> ramp = {1024, -1024, 2048, -2048, 3072, -3072};
    const auto read = [&](std::size_t frames) {
        std::vector<float> stereo(frames * 2, 9.0F);
        queue.Read(stereo.data(), frames);
        for (float& each : stereo) each *= 32;
        return stereo;
    };
    using testing::ElementsAre;
    queue.Push(ramp.data(), 3);
    EXPECT_THAT(read(1), ElementsAre(0, 0)) << "less than the lead";
    queue.Push(ramp.data(), 3);
    // Of six frames the two before the lead are too old.
    EXPECT_THAT(read(2), ElementsAre(3, -3, 1, -1));
    EXPECT_THAT(read(3), ElementsAre(2, -2, 3, -3, 0, 0));
    queue.Push(ramp.data(), 3);
    EXPECT_THAT(read(1), ElementsAre(0, 0)) << "the lead comes first again";
    // 12 frames wait: only the newest 4 stay.
    for (int i = 0; i < 3; ++i) queue.Push(ramp.data(), 3);
    EXPECT_THAT(read(4), ElementsAre(3, -3, 1, -1, 2, -2, 3, -3));
    EXPECT_THAT(read(1), ElementsAre(0, 0));
    queue.Push(ramp.data(), 3);
    queue.PushSilence(2);
    queue.Push(ramp.data(), 1);
    EXPECT_THAT(read(4), ElementsAre(3, -3, 0, 0, 0, 0, 1, -1)) << "silence has its time";
    queue.PushSilence(SIZE_MAX);
    EXPECT_THAT(read(1), ElementsAre(0, 0));
}

}  // namespace
}  // namespace studio

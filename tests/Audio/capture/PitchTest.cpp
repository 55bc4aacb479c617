// The pitch shifter and its filter between a source and the sound sink, on both systems.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>

#include "Audio/capture/CDSAudioProcessing.h"
#include "tests/Audio/AudioKit.h"
#include "tests/fakes/FakeMediaSample.h"
#include "tests/support/Tone.h"

namespace Vimbrel::test {
namespace {

constexpr unsigned rate = 44'100;

std::vector<std::int16_t> Tone(double frequency, std::size_t frames, std::size_t from = 0) {
    std::vector<std::int16_t> samples(2 * frames);
    for (std::size_t i = 0; i < frames; ++i) {
        const double value = 20'000 * Sine(frequency, rate, static_cast<double>(from + i));
        samples[2 * i] = samples[2 * i + 1] = static_cast<std::int16_t>(std::lround(value));
    }
    return samples;
}

// The frequency of a stereo sound, by its upward crossings of zero.
double Frequency(const std::vector<std::int16_t>& stereo) {
    int crossings = 0;
    std::size_t first = 0, last = 0;
    for (std::size_t i = 2; i < stereo.size(); i += 2) {
        if (stereo[i - 2] >= 0 || stereo[i] < 0) continue;
        if (crossings++ == 0) first = i;
        last = i;
    }
    return crossings < 2 ? 0 : (crossings - 1) * 2.0 * rate / static_cast<double>(last - first);
}

TEST(PitchShifter, ShiftsATonePacketByPacket) {
    for (const auto& [ratio, frequency] :
         {std::pair{2.0F, 2000.0}, {0.5F, 500.0}, {1.3F, 1300.0}}) {
        PitchShifter shifter;
        shifter.SetFormat(rate, 2, ratio);
        std::vector<std::int16_t> all;
        for (std::size_t frame = 0; frame < 3 * rate; frame += 1024) {
            std::vector<std::int16_t> packet = Tone(1000, 1024, frame);
            shifter.Shift(packet.data(), packet.size() * 2, 1024);
            if (frame >= rate) all.insert(all.end(), packet.begin(), packet.end());
        }
        EXPECT_NEAR(Frequency(all), frequency, frequency * 0.02);
    }
}

TEST(PitchShifter, StaysWithinThePacketAndTheNumbersOfTheLibrary) {
    PitchShifter shifter;
    shifter.SetFormat(rate, 2, 2.0F);
    // As many frames as 8-bit samples have, which would lead to twice the length.
    std::vector<std::int16_t> memory(2 * 4096, 7777);
    for (int i = 0; i < 20; ++i) shifter.Shift(memory.data(), 4096 * 2, 4096);
    EXPECT_THAT(std::vector(memory.begin() + 4096, memory.end()), testing::Each(7777));
    shifter.Shift(memory.data(), 3, 0);
    shifter.Shift(nullptr, 0, 0);
    // What it refuses leaves samples as they are.
    for (const unsigned channels : {0u, 400u}) {
        shifter.SetFormat(rate, channels, 2.0F);
        std::vector<std::int16_t> same(4096, 5);
        for (int i = 0; i < 20; ++i) shifter.Shift(same.data(), 8192, 2048);
        EXPECT_THAT(same, testing::Each(5));
    }
}

CMediaType SoundType(WORD bits, WORD channels = 2) {
    const WAVEFORMATEX wave = Pcm(channels, rate, bits);
    CMediaType type;
    type.majortype = MEDIATYPE_Audio;
    type.subtype = MEDIASUBTYPE_PCM;
    type.SetFormat(FORMAT_WaveFormatEx, &wave, sizeof wave);
    return type;
}

class ProcessingTest : public testing::Test {
protected:
    ProcessingTest() { EXPECT_EQ(CreateDSAudioProcessing(filter.Put()), S_OK); }

    // What 20 packets of noise become in the end.
    std::vector<std::int16_t> Pass() {
        for (int i = 0; i < 20; ++i) {
            sample->samples = Tone(777, 1024, static_cast<std::size_t>(i) * 1024);
            EXPECT_EQ(filter->Transform(sample.Get()), S_OK);
        }
        EXPECT_EQ(sample->samples.size(), 2048u);
        return sample->samples;
    }
    const std::vector<std::int16_t> unshifted = Tone(777, 1024, 19 * 1024);

    ScopedCom com;
    ComPtr<CDSAudioProcessing> filter;
    ComPtr<FakeMediaSample> sample = MakeCom<FakeMediaSample>();
};

TEST_F(ProcessingTest, TakesPcmOfEightOrSixteenBits) {
    EXPECT_EQ(filter->CheckInputType(nullptr), E_POINTER);
    EXPECT_EQ(filter->SetMediaType(PINDIR_INPUT, nullptr), E_POINTER);
    CMediaType picture = SoundType(16), floats = SoundType(16), other = SoundType(16);
    picture.majortype = MEDIATYPE_Video;
    floats.subtype = MEDIASUBTYPE_RGB24;
    other.formattype = FORMAT_VideoInfo;
    for (const CMediaType& good : {SoundType(8), SoundType(16), SoundType(16, 6)})
        EXPECT_EQ(filter->CheckInputType(&good), S_OK);
    for (const CMediaType& bad : {SoundType(24), SoundType(32), picture, floats, other})
        EXPECT_EQ(filter->CheckInputType(&bad), VFW_E_TYPE_NOT_ACCEPTED);
}

TEST_F(ProcessingTest, AChangeTakesEffectAtTheNextSample) {
    const CMediaType type = SoundType(16);
    ASSERT_EQ(filter->SetMediaType(PINDIR_INPUT, &type), S_OK);
    EXPECT_EQ(Pass(), unshifted);
    filter->SetPitch(100);
    EXPECT_EQ(Pass(), unshifted) << "no change at all";
    filter->SetPitch(5);
    EXPECT_EQ(filter->Pitch(), 100);
    sample->is_null = true;
    EXPECT_EQ(filter->Transform(sample.Get()), S_OK);
    EXPECT_EQ(filter->Pitch(), 10) << "read without data as well";
    sample->is_null = false;
    filter->SetPitch(200);
    EXPECT_NE(Pass(), unshifted);
    EXPECT_EQ(filter->Pitch(), 200);
    // Samples that are shorter than a frame, and whole ones again.
    sample->length = 3;
    EXPECT_EQ(filter->Transform(sample.Get()), S_OK);
    sample->length = -1;
    filter->SetPitch(100);
    EXPECT_EQ(Pass(), unshifted);
}

TEST_F(ProcessingTest, TheFirstPacketKeepsItsOldEnd) {
    const CMediaType type = SoundType(16);
    ASSERT_EQ(filter->SetMediaType(PINDIR_INPUT, &type), S_OK);
    filter->SetPitch(150);
    sample->samples = Tone(777, 1024);
    EXPECT_EQ(filter->Transform(sample.Get()), S_OK);
    const std::vector<std::int16_t> old = Tone(777, 1024);
    EXPECT_TRUE(std::equal(old.end() - 100, old.end(), sample->samples.end() - 100));
}

}  // namespace
}  // namespace Vimbrel::test

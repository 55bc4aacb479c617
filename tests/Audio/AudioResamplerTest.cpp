#include "Audio/AudioResampler.h"

#include <mfapi.h>

#include <cmath>
#include <cstring>
#include <type_traits>

#include "Audio/AudioFormat.h"
#include "tests/Audio/AudioKit.h"
#include "tests/fakes/FakeResampler.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/Tone.h"
#include "tests/support/Wine.h"

namespace Vimbrel::test {
namespace {

WAVEFORMATEXTENSIBLE Extensible(WORD channels, DWORD rate, WORD bits, WORD valid_bits,
                                const GUID& subtype) {
    WAVEFORMATEXTENSIBLE format{};
    format.Format = Pcm(channels, rate, bits, WAVE_FORMAT_EXTENSIBLE);
    format.Format.cbSize = 22;
    format.Samples.wValidBitsPerSample = valid_bits;
    format.SubFormat = subtype;
    return format;
}

class AudioResamplerTest : public ::testing::Test {
protected:
    // Feeds in blocks of changing sizes and keeps what comes out.
    void Run(const Bytes& input, DWORD frame_bytes) {
        std::size_t done = 0;
        for (std::size_t frames = 441; done < input.size(); frames = frames % 1000 + 37) {
            const std::size_t size = std::min(frames * frame_bytes, input.size() - done);
            Bytes block(input.begin() + static_cast<std::ptrdiff_t>(done),
                        input.begin() + static_cast<std::ptrdiff_t>(done + size));
            ASSERT_EQ(resampler.Feed(block.data(), static_cast<unsigned>(size)), S_OK);
            unsigned made = 0;
            const unsigned char* converted = resampler.Fetch(&made);
            output.insert(output.end(), converted, converted + made);
            done += size;
        }
    }
    // One channel of the output in 16 bits, without the ends, where the filter settles.
    std::vector<double> Channel(std::size_t channel, std::size_t channels = 2) const {
        constexpr std::size_t settling = 500;
        std::vector<double> sound;
        for (std::size_t frame = settling; frame + settling < output.size() / 2 / channels;
             ++frame) {
            std::int16_t sample = 0;
            std::memcpy(&sample, output.data() + (frame * channels + channel) * 2, 2);
            sound.push_back(sample);
        }
        return sound;
    }

    const ScopedCom com;
    AudioResampler resampler;
    Bytes output;
};

template <class Sample, int scale, int offset = 0>
void Append(Bytes& bytes, double value) {
    const double scaled = value * scale + offset;
    const auto sample = static_cast<Sample>(
        std::is_floating_point_v<Sample> ? scaled : static_cast<double>(std::lround(scaled)));
    const auto* first = reinterpret_cast<const unsigned char*>(&sample);
    bytes.insert(bytes.end(), first, first + sizeof sample);
}

// At a lower level the rounding to 16 bits alone would come near the bar.
constexpr int level = 29000;

TEST_F(AudioResamplerTest, ASineKeepsItsSignalToNoiseRatio) {
    const WAVEFORMATEX input_format = Pcm(2, 48000, 16);
    ASSERT_EQ(resampler.Initialize(&input_format, &engine_format), S_OK);
    Bytes input;
    for (int frame = 0; frame < 48000; ++frame) {
        for (const double frequency : {997.0, 3001.0})
            Append<std::int16_t, level>(input, Sine(frequency, 48000, frame));
    }
    Run(input, 4);
    // What the filter still holds is missing at the end.
    EXPECT_NEAR(static_cast<double>(output.size()) / 4, 44100, 100);
    const double bar = RunsUnderWine() ? 75 : 90;
    EXPECT_GE(FitTone(Channel(0), 997, 44100).snr_db, bar);
    EXPECT_GE(FitTone(Channel(1), 3001, 44100).snr_db, bar);
    EXPECT_NEAR(FitTone(Channel(0), 997, 44100).amplitude, level, level / 100);
}

// Formats of one or two channels, at the level and the side where they were.
TEST_F(AudioResamplerTest, EveryFormatArrives) {
    const WAVEFORMATEXTENSIBLE floats = Extensible(2, 48000, 32, 32, MFAudioFormat_Float);
    const WAVEFORMATEXTENSIBLE wide = Extensible(2, 96000, 32, 24, MFAudioFormat_PCM);
    const WAVEFORMATEX bytes = Pcm(2, 22050, 8);
    const WAVEFORMATEX mono = Pcm(1, 44100, 16);
    const std::pair<const WAVEFORMATEX*, void (*)(Bytes&, double)> cases[] = {
        {&floats.Format, Append<float, 1>},
        {&wide.Format, Append<std::int32_t, 0x7FFFFF00>},
        {&bytes, Append<std::uint8_t, 127, 128>},
        {&mono, Append<std::int16_t, 32767>}};
    for (const auto& [format, append] : cases) {
        const unsigned rate = format->nSamplesPerSec;
        const unsigned channels = format->nChannels;
        SCOPED_TRACE(rate);
        Bytes input;
        for (unsigned i = 0; i < rate * channels; ++i)
            append(input, 0.8 * Sine(i % channels == 0 ? 997 : 2003, rate, i / channels));
        output.clear();
        ASSERT_EQ(resampler.Initialize(format, &engine_format), S_OK);
        Run(input, format->nBlockAlign);
        for (const std::size_t side : {0, 1}) {
            const ToneFit fit =
                FitTone(Channel(side), side == 0 || channels == 1 ? 997 : 2003, 44100);
            EXPECT_NEAR(fit.amplitude, 0.8 * 32767, 300);
            EXPECT_GT(fit.snr_db, format == &bytes ? 40 : 70);
        }
        resampler.Shutdown();
    }
}

// Left, right, centre, low frequencies, back left, back right: a tone in each.
TEST_F(AudioResamplerTest, SurroundReachesItsSides) {
    const WAVEFORMATEXTENSIBLE surround = Extensible(6, 48000, 32, 32, MFAudioFormat_Float);
    const HRESULT hr = resampler.Initialize(&surround.Format, &engine_format);
    if (RunsUnderWine()) {
        EXPECT_LT(hr, 0) << "Wine has learned more than two channels";
        return;
    }
    ASSERT_EQ(hr, S_OK);
    Bytes input;
    for (int frame = 0; frame < 48000; ++frame) {
        for (int channel = 0; channel < 6; ++channel)
            Append<float, 1>(input, 0.9 * Sine(1000 * (channel + 1), 48000, frame));
    }
    Run(input, 6 * 4);
    // Centre and back are 3 dB lower, and all of it does not clip.
    constexpr double shares[6][2] = {{1, 0}, {0, 1},      {0.7071, 0.7071},
                                     {0, 0}, {0.7071, 0}, {0, 0.7071}};
    for (std::size_t side = 0; side < 2; ++side) {
        for (int channel = 0; channel < 6; ++channel) {
            const double amplitude = FitTone(Channel(side), 1000 * (channel + 1), 44100).amplitude;
            EXPECT_NEAR(amplitude, 0.9 * 32767 * shares[channel][side] / 2.4142, 60)
                << side << channel;
        }
    }
}

// Blocks of a single frame, and of frames and a rest.
TEST_F(AudioResamplerTest, OddSizesAreWholeFramesAndNothingIsAllocated) {
    const WAVEFORMATEX input = Pcm(2, 48000, 16);
    ASSERT_EQ(resampler.Initialize(&input, &engine_format), S_OK);
    Bytes data(480 * 4 + 3);
    unsigned frames = 0;
    std::uint64_t before = 0;
    for (int block = 0; block < 200; ++block) {
        if (block == 2) before = AllocationCount();
        const auto size = static_cast<unsigned>(block % 2 == 0 ? data.size() : 4);
        ASSERT_EQ(resampler.Feed(data.data(), size), S_OK);
        unsigned made = 0;
        resampler.Fetch(&made);
        ASSERT_EQ(made % 4, 0U);
        frames += made / 4;
    }
    EXPECT_EQ(AllocationCount(), before);
    EXPECT_NEAR(frames, 481 * 100 * 0.91875, 100);
}

class AudioResamplerCallsTest : public ::testing::Test {
protected:
    static UINT32 Number(IMFMediaType* type, const GUID& key) {
        return MFGetAttributeUINT32(type, key, 0xFFFF);
    }

    const ScopedCom com;
    const FakeResampler::Override fake;
    AudioResampler resampler;
};

TEST_F(AudioResamplerCallsTest, TagsBecomeSubtypes) {
    // A format is packed and may stand at an odd address.
    struct alignas(2) {
        char before;
        WAVEFORMATEX format;
    } odd{};
    for (const WORD tag : {1, 3, 8, 9, 10, 80, 85, 146, 353, 354, 355, 356, 5632, 5648}) {
        odd.format = Pcm(2, 48000, 16, tag);
        ASSERT_EQ(resampler.Initialize(&odd.format, &engine_format), S_OK) << tag;
        ComPtr<IMFMediaType> type;
        ASSERT_EQ(fake->GetInputCurrentType(0, type.Put()), S_OK);
        GUID expected = MFAudioFormat_PCM;
        expected.Data1 = tag;
        GUID subtype{};
        EXPECT_EQ(type->GetGUID(MF_MT_SUBTYPE, &subtype), S_OK);
        EXPECT_TRUE(subtype == expected) << tag;
    }
    for (const WORD tag : {0, 2, 6, 7, 11, 79, 352, 357, 5633, 0xFFFE}) {
        const WAVEFORMATEX format = Pcm(2, 48000, 16, tag);
        EXPECT_EQ(resampler.Initialize(&format, &engine_format), E_INVALIDARG) << tag;
        EXPECT_EQ(resampler.Initialize(&engine_format, &format), E_INVALIDARG) << tag;
    }
    GUID foreign = MFAudioFormat_PCM;
    foreign.Data1 = 8;
    const WAVEFORMATEXTENSIBLE extensible = Extensible(2, 48000, 16, 16, foreign);
    EXPECT_EQ(resampler.Initialize(&extensible.Format, &engine_format), E_INVALIDARG);
}

TEST_F(AudioResamplerCallsTest, TypesComputeTheirAlignment) {
    WAVEFORMATEX format = Pcm(6, 96000, 32);
    format.nBlockAlign = 7;
    format.nAvgBytesPerSec = 1000;
    ASSERT_EQ(resampler.Initialize(&format, &engine_format), S_OK);
    ComPtr<IMFMediaType> type;
    ASSERT_EQ(fake->GetInputCurrentType(0, type.Put()), S_OK);
    GUID major{};
    EXPECT_EQ(type->GetMajorType(&major), S_OK);
    EXPECT_TRUE(major == MFMediaType_Audio);
    EXPECT_EQ(Number(type.Get(), MF_MT_AUDIO_NUM_CHANNELS), 6U);
    EXPECT_EQ(Number(type.Get(), MF_MT_AUDIO_SAMPLES_PER_SECOND), 96000U);
    EXPECT_EQ(Number(type.Get(), MF_MT_AUDIO_BLOCK_ALIGNMENT), 24U);
    EXPECT_EQ(Number(type.Get(), MF_MT_AUDIO_AVG_BYTES_PER_SECOND), 2'304'000U);
    EXPECT_EQ(Number(type.Get(), MF_MT_AUDIO_BITS_PER_SAMPLE), 32U);
    EXPECT_EQ(Number(type.Get(), MF_MT_ALL_SAMPLES_INDEPENDENT), 1U);
    UINT32 count = 0;
    EXPECT_EQ(type->GetCount(&count), S_OK);
    EXPECT_EQ(count, 8U);
    // The capacity follows the format's own rate: 2 seconds of 1000 bytes.
    Bytes block = Pattern(2001);
    EXPECT_EQ(resampler.Feed(block.data(), 2001), S_OK);
    EXPECT_EQ(fake->held, Bytes(2000)) << "an oversized block becomes silence";
    EXPECT_EQ(resampler.Feed(block.data(), 2000), S_OK);
    EXPECT_EQ(fake->held, Bytes(block.begin(), block.end() - 1));
}

TEST_F(AudioResamplerCallsTest, CallsAndResultsPassThrough) {
    Bytes block = Pattern(100);
    unsigned size = 1;
    EXPECT_EQ(resampler.Feed(block.data(), 100), E_FAIL);
    EXPECT_EQ(resampler.Fetch(&size), nullptr);
    EXPECT_EQ(size, 0U);

    const WAVEFORMATEX input = Pcm(2, 48000, 16);
    fake->type_result = MF_E_INVALIDMEDIATYPE;
    EXPECT_EQ(resampler.Initialize(&input, &engine_format), MF_E_INVALIDMEDIATYPE);
    fake->type_result = S_OK;
    // Samples of 2 seconds hold less than 4 GiB.
    WAVEFORMATEX endless = input;
    endless.nAvgBytesPerSec = 0x8000'0000;
    EXPECT_EQ(resampler.Initialize(&endless, &engine_format), E_OUTOFMEMORY);
    EXPECT_EQ(resampler.Feed(block.data(), 100), E_FAIL);
    EXPECT_TRUE(fake->messages.empty());
    fake->start_result = MF_E_NOTACCEPTING;
    EXPECT_EQ(resampler.Initialize(&input, &engine_format), MF_E_NOTACCEPTING);
    EXPECT_EQ(fake->messages, (std::vector<MFT_MESSAGE_TYPE>{MFT_MESSAGE_COMMAND_FLUSH,
                                                             MFT_MESSAGE_NOTIFY_BEGIN_STREAMING,
                                                             MFT_MESSAGE_NOTIFY_START_OF_STREAM}));
    EXPECT_EQ(resampler.Feed(block.data(), 100), S_OK);
    const unsigned char* converted = resampler.Fetch(&size);
    EXPECT_EQ(Bytes(converted, converted + size), block);
    EXPECT_EQ(fake->inputs, 1);
    EXPECT_EQ(fake->outputs, 1);
    fake->output_result = MF_E_TRANSFORM_NEED_MORE_INPUT;
    EXPECT_EQ(resampler.Fetch(&size), converted);
    EXPECT_EQ(size, 0U);
    EXPECT_EQ(fake->outputs, 2);

    fake->messages.clear();
    resampler.Shutdown();
    resampler.Shutdown();
    EXPECT_EQ(fake->messages, (std::vector<MFT_MESSAGE_TYPE>{MFT_MESSAGE_NOTIFY_END_OF_STREAM,
                                                             MFT_MESSAGE_COMMAND_DRAIN}));
    EXPECT_EQ(fake->outputs, 2);
    EXPECT_EQ(resampler.Feed(block.data(), 100), E_FAIL);
}

}  // namespace
}  // namespace Vimbrel::test

// The sound sink behind a source of the test's, on both systems.
#include <gtest/gtest.h>

#include "tests/support/GraphKit.h"
#include "vimbrel/DSRenderAudio.h"

namespace Vimbrel::test {
namespace {

CMediaType SoundType(WORD channels, DWORD rate, WORD bits, WORD extra = 0) {
    WAVEFORMATEX wave{};
    wave.wFormatTag = WAVE_FORMAT_PCM;
    wave.nChannels = channels;
    wave.nSamplesPerSec = rate;
    wave.wBitsPerSample = bits;
    wave.nBlockAlign = static_cast<WORD>(channels * bits / 8);
    wave.nAvgBytesPerSec = rate * wave.nBlockAlign;
    wave.cbSize = extra;
    CMediaType type;
    type.majortype = MEDIATYPE_Audio;
    type.subtype = MEDIASUBTYPE_PCM;
    type.SetFormat(FORMAT_WaveFormatEx, &wave, sizeof wave);
    return type;
}

struct Sound final : IDSRenderAudio::CDispatcher {
    void OnAudioSample(unsigned char* bytes, int length, std::int64_t at,
                       std::int64_t lasts) override {
        data = bytes;
        size = length;
        start = at;
        duration = lasts;
        ++calls;
        *bytes = 0;  // as a mute does
    }
    unsigned char* data = nullptr;
    int size = 0, calls = 0;
    std::int64_t start = -1, duration = -1;
};

class AudioSinkTest : public testing::Test {
protected:
    AudioSinkTest() {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        CreateDSRenderAudio(&sink);
        sink->SetDispatcher(&sound);
        void* found = nullptr;
        EXPECT_EQ(sink->QueryInterface(__uuidof(IBaseFilter), &found), S_OK);
        filter.Attach(static_cast<IBaseFilter*>(found));
        ComPtr<IEnumPins> pins;
        filter->EnumPins(pins.Put());
        EXPECT_EQ(pins->Next(1, input.Put(), nullptr), S_OK);
    }
    ~AudioSinkTest() override {
        filter->Stop();
        source->Stop();
        source->Output().Disconnect();
        input->Disconnect();
        EXPECT_FALSE(sink->IsConnected());
        input.Reset();
        filter.Reset();
        EXPECT_EQ(sink->Release(), 0u);
        source.Reset();
        CoUninitialize();
    }

    Sound sound;
    IDSRenderAudio* sink = nullptr;
    ComPtr<IBaseFilter> filter;
    ComPtr<IPin> input;
    ComPtr<TestSource> source = MakeCom<TestSource>();
};

TEST_F(AudioSinkTest, TakesPlainPcmAndWhatIsRequired) {
    const CMediaType good = SoundType(2, 44100, 16);
    CMediaType cut = good;
    cut.cbFormat = 16;
    CMediaType picture = good;
    picture.majortype = MEDIATYPE_Video;
    const struct {
        CMediaType type;
        HRESULT expected;
    } cases[] = {{good, S_OK},
                 {SoundType(1, 8000, 8), S_OK},
                 {SoundType(2, 44100, 24), S_FALSE},
                 {SoundType(2, 44100, 32), S_FALSE},
                 {SoundType(2, 44100, 16, 2), S_FALSE},
                 {cut, S_FALSE},
                 {picture, S_FALSE}};
    for (const auto& each : cases) EXPECT_EQ(input->QueryAccept(&each.type), each.expected);
    WAVEFORMATEX required = *good.FormatAs<WAVEFORMATEX>(FORMAT_WaveFormatEx);
    sink->SetRequiredFormat(&required);
    for (const CMediaType& other :
         {SoundType(1, 44100, 16), SoundType(2, 48000, 16), SoundType(2, 44100, 8)})
        EXPECT_EQ(input->QueryAccept(&other), S_FALSE);
    EXPECT_EQ(input->QueryAccept(&good), S_OK);
    sink->SetRequiredFormat(nullptr);
    EXPECT_EQ(input->QueryAccept(&cases[1].type), S_OK);
    CreateDSRenderAudio(nullptr);
}

TEST_F(AudioSinkTest, HandsOnTheSamplesOwnMemoryWithTheSegmentsTime) {
    source->Output().types = {SoundType(2, 44100, 16)};
    ASSERT_EQ(source->Output().Connect(input.Get(), nullptr), S_OK);
    EXPECT_TRUE(sink->IsConnected());
    WAVEFORMATEX format{};
    sink->GetFormat(&format);
    EXPECT_EQ(format.nSamplesPerSec, 44100u);
    EXPECT_EQ(format.nAvgBytesPerSec, 176400u);
    filter->Run(0);
    source->Run(0);
    source->Output().DeliverNewSegment(7 * second, 9 * second, 1.0);
    EXPECT_EQ(source->Output().Send(second, 3 * second), S_OK);
    EXPECT_EQ(sound.size, 64);
    EXPECT_EQ(sound.start, 8 * second);
    EXPECT_EQ(sound.duration, 2 * second);
    EXPECT_EQ(sound.data, source->Output().last_data);
    EXPECT_EQ(source->Output().last_byte, 0) << "a change in place is the sample's";
    EXPECT_EQ(source->Output().Send(-1, -1), S_OK);
    EXPECT_EQ(sound.start, 7 * second);
    EXPECT_EQ(sound.duration, 0);
    ComPtr<IMediaSample> empty;
    source->Output().GetDeliveryBuffer(empty.Put());
    empty->SetActualDataLength(0);
    EXPECT_EQ(source->Output().Deliver(empty.Get()), S_OK);
    EXPECT_EQ(sound.calls, 2);
    sink->SetDispatcher(nullptr);
    EXPECT_EQ(source->Output().Send(0, 1), S_OK);
    EXPECT_EQ(sound.calls, 2);
}

}  // namespace
}  // namespace Vimbrel::test

// The filters of sound devices on a real sound server.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "filters/Enumerators.h"
#include "platform/linux/ds/device/Microphone.h"
#include "platform/linux/ds/device/PulseRenderer.h"
#include "platform/linux/pulse/PulseConnection.h"
#include "platform/linux/pulse/RecordStream.h"
#include "tests/support/GraphKit.h"
#include "tests/support/SoundServer.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/Watchdog.h"

namespace Vimbrel::test {
namespace {

class DeviceFilters : public testing::Test {
protected:
    template <class Create>
    ComPtr<IBaseFilter> Make(Create create) {
        ComPtr<IBaseFilter> filter;
        void* made = nullptr;
        EXPECT_EQ(create(__uuidof(IBaseFilter), &made), S_OK);
        filter.Attach(static_cast<IBaseFilter*>(made));
        EXPECT_EQ(graph.graph->AddFilter(filter.Get(), L"device"), S_OK);
        return filter;
    }

    const Watchdog watchdog{"device filters"};
    const SoundServer server{SoundServerKind::pulse_audio};
    TestGraph graph;
};

// The renderer keeps its first sample, and with it the thread that brings it.
TEST_F(DeviceFilters, AMicrophonePausesBehindAPausedRenderer) {
    const auto microphone = Make([](REFIID iid, void** filter) {
        return CreateMicrophone("microphone", 44'100, iid, filter);
    });
    ComPtr<TestRenderer> renderer;
    renderer.Attach(new TestRenderer(MEDIASUBTYPE_PCM));
    ASSERT_EQ(graph.graph->AddFilter(renderer.Get(), L"renderer"), S_OK);
    ASSERT_EQ(
        graph.graph->ConnectDirect(PinsOf(*microphone.Get())[0].Get(), renderer->Pin(), nullptr),
        S_OK);
    for (int round = 0; round < 3; ++round) {
        const int before = renderer->rendered;
        ASSERT_EQ(renderer->Run(0), S_OK);
        ASSERT_EQ(microphone->Run(0), S_OK);
        EXPECT_TRUE(WaitUntil([&] { return renderer->rendered > before + 2; }));
        renderer->Pause();
        FILTER_STATE state{};
        ASSERT_EQ(renderer->GetState(10'000, &state), S_OK) << "a sample is kept";
        std::atomic<bool> paused{false};
        std::thread pausing([&] {
            EXPECT_EQ(microphone->Pause(), S_OK);
            paused = true;
        });
        EXPECT_TRUE(WaitUntil([&] { return paused.load(); }));
        if (!paused) renderer->Stop();
        pausing.join();
        if (HasFailure()) break;
    }
    renderer->Stop();
    EXPECT_EQ(microphone->Stop(), S_OK);
}

WAVEFORMATEX Pcm(WORD channels, DWORD rate, WORD bits) {
    const auto align = static_cast<WORD>(channels * bits / 8);
    return {WAVE_FORMAT_PCM, channels, rate, rate * align, align, bits, 0};
}

CMediaType TypeOf(const WAVEFORMATEX& format) {
    CMediaType type;
    type.majortype = MEDIATYPE_Audio;
    type.subtype = MEDIASUBTYPE_PCM;
    type.SetFormat(FORMAT_WaveFormatEx, &format, sizeof format);
    return type;
}

// The stream of the connection plays one format only.
TEST_F(DeviceFilters, ARendererTakesNoOtherFormatUntilItIsStopped) {
    const auto renderer = Make(
        [](REFIID iid, void** filter) { return CreatePulseRenderer("speakers", iid, filter); });
    ComPtr<TestSource> source;
    source.Attach(new TestSource);
    source->Output().types = {TypeOf(Pcm(2, 44'100, 16))};
    ASSERT_EQ(graph.graph->AddFilter(source.Get(), L"source"), S_OK);
    const ComPtr<IPin> input = PinsOf(*renderer.Get())[0];
    ASSERT_EQ(graph.graph->ConnectDirect(&source->Output(), input.Get(), nullptr), S_OK);
    const CMediaType others[] = {TypeOf(Pcm(1, 44'100, 16)), TypeOf(Pcm(2, 48'000, 16)),
                                 TypeOf(Pcm(2, 44'100, 8)), TypeOf(Pcm(4, 44'100, 8))};
    for (const CMediaType& other : others) EXPECT_EQ(input->QueryAccept(&other), S_OK);
    renderer->Pause();
    for (const CMediaType& other : others) EXPECT_NE(input->QueryAccept(&other), S_OK);
    EXPECT_EQ(input->QueryAccept(&source->Output().types[0]), S_OK);
    renderer->Stop();
    for (const CMediaType& other : others) EXPECT_EQ(input->QueryAccept(&other), S_OK);
}

// Whose silence is 128.
TEST_F(DeviceFilters, TheLevelOfEightBitSoundIsAroundItsMiddle) {
    const auto renderer = Make(
        [](REFIID iid, void** filter) { return CreatePulseRenderer("speakers", iid, filter); });
    ComPtr<TestSource> source;
    source.Attach(new TestSource);
    source->Output().types = {TypeOf(Pcm(1, 44'100, 8))};
    source->Output().size = 8'820;
    ASSERT_EQ(graph.graph->AddFilter(source.Get(), L"source"), S_OK);
    ASSERT_EQ(
        graph.graph->ConnectDirect(&source->Output(), PinsOf(*renderer.Get())[0].Get(), nullptr),
        S_OK);
    // A tenth.
    ASSERT_EQ(renderer.As<IBasicAudio>()->put_Volume(-2'000), S_OK);
    std::shared_ptr<PulseConnection> connection;
    std::unique_ptr<RecordStream> record;
    ASSERT_EQ(PulseConnection::Open(connection), S_OK);
    ASSERT_EQ(RecordStream::Open(connection, "speakers.monitor", Pcm(1, 44'100, 16), record), S_OK);
    ASSERT_EQ(record->Start(), S_OK);
    source->Run(0);
    renderer->Run(0);
    ComPtr<IMediaSample> sample;
    ASSERT_EQ(source->Output().GetDeliveryBuffer(sample.Put()), S_OK);
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    std::fill_n(data, 8'820, BYTE{128 + 100});
    sample->SetActualDataLength(8'820);
    EXPECT_EQ(source->Output().Deliver(sample.Get()), S_OK);
    sample.Reset();
    std::int16_t heard = 0;
    EXPECT_TRUE(WaitUntil([&] {
        RecordStream::Packet packet{};
        while (heard == 0 && record->Peek(packet) == S_OK && packet.frames > 0) {
            heard = reinterpret_cast<const std::int16_t*>(packet.data)[packet.frames - 1];
            record->Drop();
        }
        return heard != 0;
    }));
    EXPECT_NEAR(heard, 10 * 256, 256);
    renderer->Stop();
    source->Stop();
}

}  // namespace
}  // namespace Vimbrel::test

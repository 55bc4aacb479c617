// The filters of sound devices on a real sound server.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "filters/Enumerators.h"
#include "platform/linux/ds/device/Microphone.h"
#include "platform/linux/ds/device/PulseRenderer.h"
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

// The stream of the connection plays one format only.
TEST_F(DeviceFilters, ARendererTakesNoOtherFormatUntilItIsStopped) {
    const auto type_of = [](WORD channels, DWORD rate, WORD bits) {
        const auto align = static_cast<WORD>(channels * bits / 8);
        const WAVEFORMATEX format = {WAVE_FORMAT_PCM, channels, rate, rate * align, align, bits, 0};
        CMediaType type;
        type.majortype = MEDIATYPE_Audio;
        type.subtype = MEDIASUBTYPE_PCM;
        type.SetFormat(FORMAT_WaveFormatEx, &format, sizeof format);
        return type;
    };
    const auto renderer = Make(
        [](REFIID iid, void** filter) { return CreatePulseRenderer("speakers", iid, filter); });
    ComPtr<TestSource> source;
    source.Attach(new TestSource);
    source->Output().types = {type_of(2, 44'100, 16)};
    ASSERT_EQ(graph.graph->AddFilter(source.Get(), L"source"), S_OK);
    const ComPtr<IPin> input = PinsOf(*renderer.Get())[0];
    ASSERT_EQ(graph.graph->ConnectDirect(&source->Output(), input.Get(), nullptr), S_OK);
    const CMediaType others[] = {type_of(1, 44'100, 16), type_of(2, 48'000, 16),
                                 type_of(2, 44'100, 8), type_of(4, 44'100, 8)};
    for (const CMediaType& other : others) EXPECT_EQ(input->QueryAccept(&other), S_OK);
    renderer->Pause();
    for (const CMediaType& other : others) EXPECT_NE(input->QueryAccept(&other), S_OK);
    EXPECT_EQ(input->QueryAccept(&source->Output().types[0]), S_OK);
    renderer->Stop();
    for (const CMediaType& other : others) EXPECT_EQ(input->QueryAccept(&other), S_OK);
}

}  // namespace
}  // namespace Vimbrel::test

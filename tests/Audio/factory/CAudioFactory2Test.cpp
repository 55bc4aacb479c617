#include "vimbrel/AudioFactory2.h"

#include "Audio/capture/CDSAudioProcessing.h"
#include "tests/Audio/factory/FactoryKit.h"
#include "tests/fakes/FakeMediaSample.h"

namespace Vimbrel::test {
namespace {

// The engine is the process's: each test leaves it stopped and without devices.
class CAudioFactory2Test : public FactoryTest {
protected:
    CAudioFactory2Test() { engine.SetDispatcher(Collect()); }
    ~CAudioFactory2Test() override {
        engine.SetMediaMixMode(false);
        engine.Stop();
        engine.SetInputDevice(nullptr);
        engine.SetOutputDevice(nullptr);
        *engine.GetFormat() = engine_format;
        engine.SetDispatcher(nullptr);
        devices.newest.Reset();
        EXPECT_EQ(FakeMicrophone::alive, 0);
        EXPECT_EQ(speakers().streams, 0);
    }
    CAudioFactory2& engine = *CAudioFactory2::GetInstance();
};

TEST_F(CAudioFactory2Test, StartsNest) {
    engine.Stop();
    EXPECT_FALSE(engine.IsRunning());
    engine.Start();
    engine.Start();
    engine.Stop();
    EXPECT_TRUE(engine.IsRunning());
    engine.Stop();
    EXPECT_FALSE(engine.IsRunning());
    engine.SetMediaMixMode(false);
    EXPECT_FALSE(engine.IsRunning()) << "no change";
    engine.SetMediaMixMode(true);
    EXPECT_TRUE(engine.IsRunning()) << "without users";
    EXPECT_TRUE(engine.GetMediaMixMode());
}

TEST_F(CAudioFactory2Test, DevicesAreOpenedAtOnceAndRunWithTheEngine) {
    engine.SetInputDevice(L"Microphone");
    engine.SetOutputDevice(L"Speakers");
    EXPECT_TRUE(engine.HasInputDevice());
    EXPECT_TRUE(engine.HasOutputDevice());
    EXPECT_EQ(speakers().running, 0);
    engine.Start();
    EXPECT_EQ(speakers().running, 2);
    EXPECT_EQ(microphone().State(), State_Running);
    engine.SetInputDevice(L"Microphone");
    EXPECT_EQ(microphone().State(), State_Stopped) << "not before the next start";
    engine.Stop();
    EXPECT_EQ(speakers().running, 0);
    engine.Start();
    EXPECT_EQ(microphone().State(), State_Running);
    engine.SetInputDevice(L"");
    EXPECT_FALSE(engine.HasInputDevice());
    engine.SetInputDevice(L"no such microphone");
    EXPECT_TRUE(engine.HasInputDevice()) << "the name counts";
    engine.SetSpeakerMute(true);
    EXPECT_TRUE(engine.GetSpeakerMute());
    EXPECT_TRUE(engine.SetSpeakerVolume(40));
    EXPECT_EQ(engine.GetSpeakerVolume(), 40);
}

// Stamps as a microphone has them on this engine: an absolute start and a duration.
TEST_F(CAudioFactory2Test, BothSourcesAreInTheMix) {
    engine.SetInputDevice(L"Microphone");
    engine.SetOutputDevice(L"Speakers");
    devices.newest->segment_start = 900'000'000'000;
    engine.Start();
    speakers().Queue(PacketOf(Samples(4096, 200), 900'000'000'000, 900'000'464'399));
    microphone().Speak(Samples(4096, 1'000), 0, 464'399);
    const auto is_mixed = [&] {
        const MutexLock guard(mutex);
        return std::any_of(blocks.begin(), blocks.end(),
                           [](const Block& each) { return each.samples[0] == 1'200; });
    };
    EXPECT_TRUE(WaitUntil([&] {
        microphone().Speak(Samples(2048, 1'000), 0, 232'199);
        speakers().Queue(PacketOf(Samples(2048, 200), 900'000'464'399, 900'000'464'399));
        return is_mixed();
    }));
    engine.Stop();
    EXPECT_EQ(blocks[0].duration, 232'200);
    EXPECT_EQ(blocks[0].time % 232'200, 0);
    const std::size_t before = blocks.size();
    microphone().Speak(Samples(4096, 1'000), 0, 0);
    engine.GetFormat()->nAvgBytesPerSec = 352'800;
    engine.Start();
    engine.Stop();
    EXPECT_EQ(Count(), before) << "channels do not outlive the run";
}

// In the media's mode the filters of all graphs feed the mix, and the microphone's own way is cut.
TEST_F(CAudioFactory2Test, MediaFeedTheMixByThemselves) {
    ComPtr<CDSAudioProcessing> filter;
    ASSERT_EQ(CreateDSAudioProcessing(filter.Put()), S_OK);
    CMediaType type;
    type.majortype = MEDIATYPE_Audio;
    type.subtype = MEDIASUBTYPE_PCM;
    type.SetFormat(FORMAT_WaveFormatEx, &engine_format, sizeof engine_format);
    filter->SetMediaType(PINDIR_INPUT, &type);
    const auto sound = MakeCom<FakeMediaSample>();
    sound->samples.assign(2048, 300);
    const auto play = [&](int packets) {
        for (int i = 0; i < packets; ++i) EXPECT_EQ(filter->Transform(sound.Get()), S_OK);
    };
    // Whether so much comes, after what is on its way.
    const auto comes = [&](std::int16_t value) {
        return WaitUntil(
            [&] {
                play(1);
                const MutexLock guard(mutex);
                return !blocks.empty() && blocks.back().samples[0] == value;
            },
            std::chrono::seconds(10), std::chrono::milliseconds(1));
    };
    engine.Start();
    filter->Run(0);
    play(20);
    filter->Stop();
    EXPECT_EQ(Count(), 0u) << "the mode is off";

    engine.SetMediaMixMode(true);
    filter->Pause();
    filter->Run(0);
    EXPECT_TRUE(comes(300));
    filter->SetChannelVolume(50);
    EXPECT_TRUE(comes(150));
    filter->EndFlush();
    filter->Pause();
    sound->samples.assign(2048, 8'000);
    play(5);
    sound->samples.assign(2048, 400);
    filter->Run(0);
    EXPECT_TRUE(comes(200));
    {
        const MutexLock guard(mutex);
        for (const Block& each : blocks) EXPECT_NE(each.samples[0], 4'000) << "taken in a pause";
    }
    // A stop removes the channel, whatever the mode; a run makes a new one at full volume, and in
    // another way of saying PCM.
    filter->Stop();
    play(5);
    WAVEFORMATEXTENSIBLE extensible{};
    extensible.Format = engine_format;
    extensible.Format.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
    extensible.Format.cbSize = sizeof extensible - sizeof extensible.Format;
    extensible.SubFormat = MEDIASUBTYPE_PCM;
    type.SetFormat(FORMAT_WaveFormatEx, &extensible, sizeof extensible);
    filter->SetMediaType(PINDIR_INPUT, &type);
    filter->Run(0);
    EXPECT_TRUE(comes(400));
    // The engine's stop leaves the channel, which takes part in the next run of the engine.
    engine.SetMediaMixMode(false);
    EXPECT_TRUE(comes(400));
    filter.Reset();
}

// Producers, devices and the engine come and go at once.
TEST_F(CAudioFactory2Test, ManyStartsUnderProducers) {
    engine.SetOutputDevice(L"Speakers");
    std::atomic<bool> ended{false};
    std::thread producer([&] {
        for (int i = 0; !ended && i < 100'000; ++i) {
            speakers().Queue(PacketOf(Samples(200, 5), static_cast<UINT64>(i) * 22'675,
                                      static_cast<UINT64>(i + 1) * 22'675));
            std::this_thread::yield();
        }
    });
    for (int round = 0; round < 30; ++round) {
        engine.Start();
        if (round % 7 == 3) engine.SetOutputDevice(L"Speakers");
        if (round % 5 == 2) engine.SetMediaMixMode(round % 2 == 0);
        engine.Stop();
    }
    ended = true;
    producer.join();
}

}  // namespace
}  // namespace Vimbrel::test

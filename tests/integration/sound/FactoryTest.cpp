#include <windows.h>

#include <gmock/gmock.h>

#include "tests/integration/sound/SoundKit.h"
#include "tests/support/Watchdog.h"
#include "vimbrel/AudioDeviceEnumerator.h"
#include "vimbrel/AudioFactory.h"

namespace Vimbrel::test {
namespace {

using namespace std::chrono_literals;

class Factories : public testing::TestWithParam<SoundServerKind> {
protected:
    Factories() { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
    ~Factories() override {
        factory->Close();
        CoUninitialize();
    }

    // What a recording has of noise that is played, from any place of it; empty if it is there
    // sample by sample. A server that is short of processor time drops sound, so there are some
    // attempts.
    std::string PlayAndFind(const std::string& sink, unsigned rate) {
        std::string wrong;
        for (int attempt = 0; attempt < 6; ++attempt) {
            const Samples noise = Noise(std::size_t{4} * rate);
            heard.Clear();
            const auto player = server.Play(sink, noise, rate);
            if (!heard.More(3 * rate)) return "nothing comes";
            const Samples all = heard.All();
            const auto found =
                std::search(all.begin(), all.end(), noise.begin() + 1000, noise.begin() + 1032);
            wrong = "the sound is not there";
            if (all.end() - found < 2 * rate) continue;
            const auto length = std::min<std::ptrdiff_t>(all.end() - found, 3 * rate);
            wrong = std::equal(found, found + length, noise.begin() + 1000) ? "" : "it differs";
            if (wrong.empty()) return wrong;
        }
        return wrong;
    }

    // In the next quarter of a second.
    bool HearsTone(double frequency, double amplitude) {
        heard.Clear();
        return heard.More(engine_rate / 4) &&
               std::abs(Amplitude(heard.All(), frequency, engine_rate) - amplitude) < 100;
    }

    const Watchdog watchdog{"factory test"};
    SoundServer server{GetParam()};
    Heard heard;
    std::unique_ptr<CAudioFactory> factory = CAudioFactory::CreateAudioFactory();
};

TEST_P(Factories, TheMicrophoneAlone) {
    const std::string streams_before = server.Control("list short source-outputs");
    factory->SetDispatcher(heard.Dispatcher());
    ASSERT_TRUE(factory->Open(false, L"", true, L"Microphone"));
    EXPECT_FALSE(factory->IsChannelOpen(0));
    EXPECT_TRUE(factory->IsChannelOpen(1));
    EXPECT_FALSE(factory->IsChannelOpen(2));
    EXPECT_LT(Duration([&] { ASSERT_TRUE(factory->Start()); }), 4s) << "waits for no sample";
    ASSERT_TRUE(heard.More(8'192));
    // Absolute times, and whole buffers.
    LARGE_INTEGER now{};
    QueryPerformanceCounter(&now);
    EXPECT_LT(std::abs(now.QuadPart - heard.Times().back()), 10'000'000);
    EXPECT_THAT(heard.Sizes(), testing::Each(4096));
    if (GetParam() == SoundServerKind::pulse_audio) {
        EXPECT_EQ(PlayAndFind("micin", engine_rate), "");
    } else {
        // Its sources have another rate.
        const auto player = server.Play("micin", StereoTone(1000, 48'000, 20, 9'000), 48'000);
        EXPECT_TRUE(WaitUntil([&] { return HearsTone(1000, 9'000); }));
    }
    factory->SetMicrophoneVolume(50);
    EXPECT_EQ(factory->GetMicrophoneVolume(), 50);
    EXPECT_THAT(server.Control("list source-outputs"), testing::HasSubstr(" 50%"));
    factory->SetMicrophoneMute(true);
    EXPECT_TRUE(WaitUntil([&] {
        heard.Clear();
        return heard.More(1'024) && heard.All() == Samples(heard.Count(), 0);
    }));
    EXPECT_LT(Duration([&] { factory->Close(); }), 5s);
    EXPECT_EQ(server.Control("list short source-outputs"), streams_before);
}

TEST_P(Factories, SystemSoundAlone) {
    factory->SetDispatcher(heard.Dispatcher());
    ASSERT_TRUE(factory->Open(true, L"Speakers", false, L""));
    ASSERT_TRUE(factory->Start());
    ASSERT_TRUE(heard.More(8'192));
    if (GetParam() == SoundServerKind::pulse_audio) {
        EXPECT_EQ(PlayAndFind("speakers", engine_rate), "");
    } else {
        const auto player = server.Play("speakers", StereoTone(1000, 48'000, 20, 9'000), 48'000);
        EXPECT_TRUE(WaitUntil([&] { return HearsTone(1000, 9'000); }));
    }
    for (const int percent : {0, 1, 50, 99, 100}) {
        EXPECT_TRUE(factory->SetSpeakerVolume(percent));
        EXPECT_EQ(factory->GetSpeakerVolume(), percent);
    }
    factory->SetSpeakerMute(true);
    EXPECT_TRUE(factory->GetSpeakerMute());
    EXPECT_LT(Duration([&] { factory->Close(); }), 5s);
    EXPECT_EQ(factory->GetSpeakerVolume(), -1);
}

// The mix is as loud as its sources, and goes on after a stop.
TEST_P(Factories, SystemSoundAndMicrophoneAreMixed) {
    factory->SetDispatcher(heard.Dispatcher());
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(factory->Open(true, L"Speakers", true, L"Microphone"));
        ASSERT_TRUE(factory->Start());
        ASSERT_TRUE(factory->Start());
        const auto speakers = server.Play("speakers", StereoTone(500, engine_rate, 20, 9'000));
        const auto microphone = server.Play("micin", StereoTone(1300, engine_rate, 20, 6'000));
        const auto is_mixed = [&] {
            heard.Clear();
            if (!heard.More(engine_rate / 4)) return false;
            const Samples all = heard.All();
            return std::abs(Amplitude(all, 500, engine_rate) - 9'000) < 100 &&
                   std::abs(Amplitude(all, 1300, engine_rate) - 6'000) < 100;
        };
        EXPECT_TRUE(WaitUntil(is_mixed, 15s));
        EXPECT_THAT(heard.Sizes(), testing::Each(4096));
        EXPECT_LT(Duration([&] { factory->Close(); }), 5s);
    }
    const auto times = heard.Times();
    ASSERT_GT(times.size(), 3u);
    EXPECT_EQ(times[2] - times[1], 232'199);
}

// Also while the other source is there.
TEST_P(Factories, AMicrophoneThatThereIsNotIsNotOpened) {
    EXPECT_TRUE(factory->Open(true, L"Speakers", true, L"No such microphone"));
    EXPECT_FALSE(factory->IsChannelOpen(1));
    EXPECT_FALSE(factory->Open(false, L"", true, L"No such microphone"));
    EXPECT_FALSE(factory->Start());
    EXPECT_FALSE(factory->Open(false, L"", false, L""));
}

TEST_P(Factories, DevicesAreListedByName) {
    AudioDeviceEnumerator& devices = *AudioDeviceEnumerator::GetInstance();
    devices.EnumerateInputDevices();
    ASSERT_EQ(devices.GetInputDevices().size(), 1u) << "monitors are no microphones";
    EXPECT_EQ(devices.GetInputDevices()[0]->name, L"Microphone");
    EXPECT_EQ(devices.GetDefaultInputDevice(), L"Microphone");
    devices.EnumerateOutputDevices(0);
    EXPECT_EQ(devices.GetDefaultOutputDevice(), L"Default DirectSound Device");
    EXPECT_EQ(devices.GetDefaultOutputDeviceName(), L"Speakers");
    server.Kill();
    devices.EnumerateInputDevices();
    EXPECT_TRUE(devices.GetInputDevices().empty());
    EXPECT_EQ(devices.GetDefaultInputDeviceName(), L"Microphone") << "kept";
}

INSTANTIATE_TEST_SUITE_P(Servers, Factories,
                         testing::Values(SoundServerKind::pulse_audio, SoundServerKind::pipe_wire),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace Vimbrel::test

// What devices and servers do to a recording that runs, as both factories show it.
//
// VIMBREL_SOUND_KILLS is the number of moments at which a server is killed.
#include <windows.h>

#include <gmock/gmock.h>

#include <cstdio>
#include <random>
#include <thread>

#include "tests/integration/sound/SoundKit.h"
#include "tests/support/Sanitized.h"
#include "tests/support/Watchdog.h"
#include "vimbrel/AudioDeviceEnumerator.h"
#include "vimbrel/AudioFactory.h"
#include "vimbrel/AudioFactory2.h"

namespace Vimbrel::test {
namespace {

using namespace std::chrono_literals;

constexpr auto close_limit = sanitized ? 4s : 1s;

class SoundFaults : public testing::TestWithParam<SoundServerKind> {
protected:
    SoundFaults() { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
    ~SoundFaults() override {
        EndEngine();
        factory->Close();
        CoUninitialize();
    }

    std::string AddSink(const std::string& name, const std::string& description) {
        return server.LoadModule("module-null-sink sink_name=" + name +
                                 " sink_properties=device.description=" + description);
    }
    std::string AddSource(const std::string& name, const std::string& description) {
        return server.LoadModule("module-remap-source master=" + name +
                                 ".monitor source_name=" + name +
                                 "-source source_properties=device.description=" + description);
    }
    auto Tone(const std::string& sink, double frequency) {
        return server.Play(sink, LongTone(frequency, 48'000, 20, 9'000), 48'000);
    }

    bool OpenFactory(const wchar_t* output, const wchar_t* input) {
        factory->SetDispatcher(heard.Dispatcher());
        return factory->Open(output != nullptr, output ? output : L"", input != nullptr,
                             input ? input : L"") &&
               factory->Start();
    }
    void StartEngine(const wchar_t* output, const wchar_t* input) {
        engine.SetDispatcher(heard.Dispatcher());
        engine.SetOutputDevice(output);
        engine.SetInputDevice(input);
        engine.Start();
    }
    void EndEngine() {
        engine.Stop();
        engine.SetInputDevice(nullptr);
        engine.SetOutputDevice(nullptr);
        engine.SetDispatcher(nullptr);
    }
    void ExpectQuickClose() {
        EXPECT_LT(Duration([&] { factory->Close(); }), close_limit);
    }
    void ExpectQuickEnd() {
        EXPECT_LT(Duration([&] { EndEngine(); }), close_limit);
    }

    // The loudness of a tone in the next quarter of a second; 0 if nothing comes.
    double Loudness(double frequency, std::chrono::milliseconds patience = 2s) {
        heard.Clear();
        const auto enough = [&] { return heard.Count() >= engine_rate / 2; };
        return WaitUntil(enough, patience) ? Amplitude(heard.All(), frequency, engine_rate) : 0;
    }
    // Soon, and in whole.
    bool Hears(double frequency) {
        return WaitUntil([&] { return Loudness(frequency) > 8'500; });
    }
    // Over the time in which another stream would have been taken.
    bool StaysWithout(double frequency) {
        for (int i = 0; i < 2; ++i) {
            if (Loudness(frequency, 300ms) > 50) return false;
        }
        return true;
    }

    const Watchdog watchdog{"sound faults",
                            90s + std::chrono::seconds(20 * Length("VIMBREL_SOUND_KILLS", 0))};
    SoundServer server{GetParam()};
    Heard heard;
    std::unique_ptr<CAudioFactory> factory = CAudioFactory::CreateAudioFactory();
    CAudioFactory2& engine = *CAudioFactory2::GetInstance();
};

// The shared engine goes on with what is left.
TEST_P(SoundFaults, AnUnloadedDeviceIsLeftOutAndNoneTakesItsPlace) {
    const std::string sink = AddSink("other", "Other");
    const std::string source = AddSource("micin", "Spoken");
    const auto in_other = Tone("other", 3'000);
    const auto in_speakers = Tone("speakers", 1'000);
    const auto in_microphone = Tone("micin", 500);
    StartEngine(L"Other", L"Spoken");
    EXPECT_TRUE(Hears(3'000));
    EXPECT_TRUE(Hears(500));
    server.Control("unload-module " + sink);
    EXPECT_TRUE(WaitUntil([&] { return Loudness(3'000) < 50; }));
    EXPECT_TRUE(StaysWithout(1'000)) << "the sink that is left";
    EXPECT_TRUE(Hears(500));
    server.Control("unload-module " + source);
    EXPECT_TRUE(WaitUntil([&] { return Loudness(500, 300ms) < 50; }));
    EXPECT_TRUE(StaysWithout(1'000)) << "the source that is left";
    EXPECT_TRUE(engine.IsRunning());
    EXPECT_TRUE(engine.HasInputDevice());
    ExpectQuickEnd();
}

TEST_P(SoundFaults, AnUnloadedMicrophoneHoldsNoClose) {
    const std::string source = AddSource("speakers", "Spoken");
    const auto in_microphone = Tone("micin", 500);
    ASSERT_TRUE(OpenFactory(L"Speakers", L"Spoken"));
    ASSERT_TRUE(heard.More(8'192));
    server.Control("unload-module " + source);
    EXPECT_TRUE(StaysWithout(500));
    ExpectQuickClose();
    EXPECT_FALSE(OpenFactory(nullptr, L"Spoken"));
    EXPECT_FALSE(factory->IsChannelOpen(1));
    ASSERT_TRUE(OpenFactory(L"Speakers", L"Microphone"));
    EXPECT_TRUE(Hears(500)) << "the one that is left, since it was asked for";
}

// PipeWire keeps streams that run silent from then on, other programs' as well.
TEST_P(SoundFaults, ASuspendedSinkIsAPause) {
    const auto in_speakers = Tone("speakers", 1'000);
    const auto in_microphone = Tone("micin", 500);
    StartEngine(L"Speakers", L"Microphone");
    EXPECT_TRUE(Hears(1'000));
    server.Control("suspend-sink speakers 1");
    EXPECT_TRUE(WaitUntil([&] { return Loudness(1'000) < 50; }));
    EXPECT_TRUE(Hears(500)) << "the microphone goes on";
    if (GetParam() == SoundServerKind::pulse_audio) {
        server.Control("suspend-sink speakers 0");
        EXPECT_TRUE(Hears(1'000));
        EXPECT_TRUE(Hears(500));
        server.Control("suspend-sink speakers 1");
    }
    ExpectQuickEnd();
    OpenFactory(L"Speakers", L"Microphone");
    ExpectQuickClose();
}

TEST_P(SoundFaults, AnotherDefaultIsForTheNextStream) {
    AddSink("other", "Other");
    const auto in_other = Tone("other", 3'000);
    auto in_speakers = Tone("speakers", 1'000);
    ASSERT_TRUE(OpenFactory(L"no such output", nullptr)) << "the default one";
    EXPECT_TRUE(Hears(1'000));
    server.Control("set-default-sink other");
    // Its stream does follow.
    in_speakers = Tone("speakers", 1'000);
    EXPECT_TRUE(StaysWithout(3'000));
    EXPECT_TRUE(Hears(1'000));
    ExpectQuickClose();
    ASSERT_TRUE(OpenFactory(L"", nullptr));
    EXPECT_TRUE(Hears(3'000));
    EXPECT_TRUE(StaysWithout(1'000));
}

// Of equal outputs the last is recorded, of equal inputs the first.
TEST_P(SoundFaults, NamesThatRepeat) {
    AddSink("one", "Same");
    AddSink("two", "Same");
    AddSource("one", "Twin");
    AddSource("two", "Twin");
    const auto in_one = Tone("one", 1'000);
    const auto in_two = Tone("two", 3'000);
    AudioDeviceEnumerator::GetInstance()->EnumerateInputDevices();
    EXPECT_EQ(AudioDeviceEnumerator::GetInstance()->GetInputDevices().size(), 3u);
    ASSERT_TRUE(OpenFactory(L"Same", nullptr));
    EXPECT_TRUE(Hears(3'000));
    EXPECT_TRUE(StaysWithout(1'000));
    ExpectQuickClose();
    ASSERT_TRUE(OpenFactory(nullptr, L"Twin"));
    EXPECT_TRUE(Hears(1'000));
    EXPECT_TRUE(StaysWithout(3'000));
}

TEST_P(SoundFaults, AServerThatStopsAnsweringHoldsNoClose) {
    ASSERT_TRUE(OpenFactory(L"Speakers", L"Microphone"));
    ASSERT_TRUE(heard.More(8'192));
    StartEngine(L"Speakers", L"Microphone");
    server.Freeze();
    ExpectQuickClose();
    EXPECT_LT(Duration([&] { engine.Stop(); }), close_limit);
    EXPECT_EQ(factory->GetSpeakerVolume(), -1);
    if (GetParam() == SoundServerKind::pulse_audio) {
        EXPECT_FALSE(OpenFactory(nullptr, L"Microphone"));
        EXPECT_FALSE(factory->IsChannelOpen(1));
    }
    server.Thaw();
    // The engine keeps its devices.
    engine.Start();
    heard.Clear();
    EXPECT_TRUE(heard.More(8'192));
    ASSERT_TRUE(OpenFactory(L"Speakers", L"Microphone"));
    ExpectQuickClose();
}

// Every call returns, and the server that is started next serves both factories.
TEST_P(SoundFaults, AServerThatIsKilledAtAnyMoment) {
    const int kills =
        Length("VIMBREL_SOUND_KILLS", GetParam() == SoundServerKind::pulse_audio ? 4 : 2);
    std::minstd_rand random(20'261'122);
    std::chrono::milliseconds longest{0};
    for (int round = 0; round < kills; ++round) {
        // A cycle lasts about half a second.
        const std::chrono::microseconds moment(random() % 600'000);
        SCOPED_TRACE("killed after " + std::to_string(moment.count()) + " us");
        std::thread killer([&] {
            std::this_thread::sleep_for(moment);
            server.Kill();
        });
        for (int part = 0; part < 2; ++part) {
            StartEngine(L"Speakers", L"Microphone");
            OpenFactory(L"Speakers", L"Microphone");
            heard.Clear();
            WaitUntil([&] { return heard.Count() > 8'192; }, 200ms);
            longest = std::max(longest, Duration([&] { factory->Close(); }));
            longest = std::max(longest, Duration([&] { EndEngine(); }));
        }
        killer.join();
        EXPECT_LT(longest, close_limit);
        EXPECT_FALSE(OpenFactory(L"Speakers", L"Microphone"));
        server.Restart();
        ASSERT_TRUE(OpenFactory(L"Speakers", L"Microphone"));
        StartEngine(L"Speakers", L"Microphone");
        heard.Clear();
        ASSERT_TRUE(heard.More(8'192));
        factory->Close();
        heard.Clear();
        ASSERT_TRUE(heard.More(4'096)) << "of the engine";
        EndEngine();
        if (HasFailure()) return;
    }
    if (kills > 4)
        std::printf("%d kills: the longest end took %d ms\n", kills,
                    static_cast<int>(longest.count()));
}

INSTANTIATE_TEST_SUITE_P(Servers, SoundFaults,
                         testing::Values(SoundServerKind::pulse_audio, SoundServerKind::pipe_wire),
                         testing::PrintToStringParamName());

TEST(SoundWithoutServer, IsRefusedAndNotWaitedFor) {
    SoundServer server(SoundServerKind::pulse_audio);
    server.Kill();
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    Heard heard;
    const auto factory = CAudioFactory::CreateAudioFactory();
    CAudioFactory2& engine = *CAudioFactory2::GetInstance();
    const auto took = Duration([&] {
        EXPECT_FALSE(factory->Open(true, L"Speakers", true, L"Microphone"));
        EXPECT_FALSE(factory->IsChannelOpen(0));
        EXPECT_FALSE(factory->IsChannelOpen(1));
        EXPECT_FALSE(factory->Start());
        EXPECT_FALSE(factory->SetSpeakerVolume(50));
        EXPECT_EQ(factory->GetSpeakerVolume(), -1);
        factory->Close();
        engine.SetDispatcher(heard.Dispatcher());
        engine.SetInputDevice(L"Microphone");
        engine.SetOutputDevice(L"Speakers");
        engine.Start();
        EXPECT_TRUE(engine.IsRunning());
        engine.Stop();
        engine.SetInputDevice(nullptr);
        engine.SetOutputDevice(nullptr);
        engine.SetDispatcher(nullptr);
    });
    EXPECT_LT(took, close_limit);
    EXPECT_EQ(heard.Count(), 0u);
    CoUninitialize();
}

}  // namespace
}  // namespace Vimbrel::test

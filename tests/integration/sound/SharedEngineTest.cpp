// The shared engine on real sound servers: whole tones, sources in step, nothing left behind.
//
// Long proofs: VIMBREL_SOUND_SECONDS is the length of the tone and of the common recording,
// VIMBREL_SOUND_ROUNDS the number of starts.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <limits>

#include "tests/integration/sound/SoundKit.h"
#include "tests/support/ProcessCounts.h"
#include "tests/support/Watchdog.h"
#include "vimbrel/AudioFactory.h"
#include "vimbrel/AudioFactory2.h"

namespace Vimbrel::test {
namespace {

using namespace std::chrono_literals;

// The usual patience of a test, and what a long proof may take.
std::chrono::seconds Patience() {
    return 90s + std::chrono::seconds(20 * Length("VIMBREL_SOUND_SECONDS", 0) +
                                      Length("VIMBREL_SOUND_ROUNDS", 0));
}

class SharedEngine : public testing::TestWithParam<SoundServerKind> {
protected:
    SharedEngine() {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        engine.SetDispatcher(heard.Dispatcher());
    }
    ~SharedEngine() override {
        engine.Stop();
        engine.SetInputDevice(nullptr);
        engine.SetOutputDevice(nullptr);
        engine.SetDispatcher(nullptr);
        CoUninitialize();
    }

    const Watchdog watchdog{"shared engine", Patience()};
    SoundServer server{GetParam()};
    Heard heard;
    CAudioFactory2& engine = *CAudioFactory2::GetInstance();
};

// Every block from the fifth on, whole. A machine without time to spare breaks the tone now and
// then, where wrong stamps break it in each attempt.
TEST_P(SharedEngine, KeepsATone) {
    const int seconds = Length("VIMBREL_SOUND_SECONDS", 1);
    const auto player =
        server.Play("speakers", LongTone(1000, 48'000, 90 + 20 * seconds, 9'000), 48'000);
    engine.SetOutputDevice(L"Speakers");
    EXPECT_TRUE(engine.HasOutputDevice());
    int breaks = -1;
    std::int64_t missing = -1;
    for (int attempt = 0; attempt < 20 && (breaks != 0 || missing != 0); ++attempt) {
        engine.Start();
        EXPECT_TRUE(engine.IsRunning());
        // The player may have just begun.
        ASSERT_TRUE(WaitUntil([&] {
            heard.Clear();
            return heard.More(4'096) && Amplitude(heard.All(), 1000, engine_rate) > 8'900;
        }));
        engine.Stop();
        EXPECT_FALSE(engine.IsRunning());
        heard.Clear();
        const std::size_t first = heard.Times().size();
        engine.Start();
        ASSERT_TRUE(WaitUntil([&] { return heard.Count() > 2u * engine_rate * seconds; },
                              std::chrono::seconds(20 + 2 * seconds)));
        engine.Stop();
        const Samples all = heard.All();
        const std::vector<std::int64_t> times = heard.Times();
        constexpr std::size_t fifth = 4;
        constexpr std::size_t block = 2'048;
        breaks = Breaks({all.begin() + fifth * block, all.end()}, 1000, engine_rate, 100);
        missing = (times.back() - times[first + fifth]) / 232'200 -
                  static_cast<std::int64_t>(times.size() - first - fifth - 1);
        if (seconds > 1)
            std::printf("%d s: %zu blocks, %d breaks, %d missing\n", seconds, times.size() - first,
                        breaks, static_cast<int>(missing));
    }
    EXPECT_EQ(breaks, 0);
    EXPECT_EQ(missing, 0);
}

// Pulses in the left channel of the loudspeaker, which the microphone hears in both: the right
// channel of the mix is the microphone, and the left one without it is system sound.
class Echo {
public:
    static constexpr double level = 9'000;

    explicit Echo(SoundServer& server, int seconds) {
        server.LoadModule(
            "module-remap-source master=speakers.monitor source_name=echo channels=1"
            " channel_map=mono master_channel_map=front-left remix=no"
            " source_properties=device.description=Echo");
        Samples pulses(std::size_t{2} * 44'100 * static_cast<unsigned>(seconds));
        constexpr int width = 88;
        for (std::size_t at = 0; at + 2 * width < pulses.size(); at += 44'100) {
            for (int i = 0; i < width; ++i)
                pulses[at + 2 * static_cast<std::size_t>(i)] =
                    static_cast<std::int16_t>(level / 2 * (1 - Cosine(i, width)));
        }
        player = server.Play("speakers", pulses);
    }

    // By how many frames the microphone is late, over the pulses of a recording, and how loud the
    // quieter source is.
    struct Step {
        int least = std::numeric_limits<int>::max();
        int most = std::numeric_limits<int>::min();
        double quietest = level;
        int pulses = 0;
    };
    static void Judge(const Samples& mix, Step& step) {
        const auto frames = static_cast<int>(mix.size() / 2);
        const auto microphone = [&](int i) { return mix[2 * static_cast<std::size_t>(i) + 1]; };
        const auto system = [&](int i) {
            return mix[2 * static_cast<std::size_t>(i)] - microphone(i);
        };
        constexpr int reach = 11'025;
        for (int i = reach; i + reach < frames; ++i) {
            if (system(i) < level / 2) continue;
            const int played = Peak(system, i, i + 200);
            const int spoken = Peak(microphone, played - reach, played + reach);
            step.least = std::min(step.least, spoken - played);
            step.most = std::max(step.most, spoken - played);
            step.quietest =
                std::min({step.quietest, double(system(played)), double(microphone(spoken))});
            ++step.pulses;
            i += reach;
        }
    }

private:
    static double Cosine(int i, int width) { return std::cos(2 * std::numbers::pi * i / width); }
    template <class Sound>
    static int Peak(const Sound& sound, int begin, int end) {
        int peak = begin;
        for (int i = begin; i < end; ++i) {
            if (sound(i) > sound(peak)) peak = i;
        }
        return peak;
    }

    std::unique_ptr<ChildProcess> player;
};

// Both at full level, and as far apart as at the beginning but for a block.
void ExpectInStep(Heard& heard) {
    const int seconds = Length("VIMBREL_SOUND_SECONDS", 0);
    constexpr int block = 1'024;
    Echo::Step whole;
    bool good = false;
    const auto begin = std::chrono::steady_clock::now();
    int attempts = 0;
    do {
        Echo::Step step;
        heard.Clear();
        ASSERT_TRUE(heard.More(3 * engine_rate / 2));
        Echo::Judge(heard.All(), step);
        good = good || (step.pulses > 0 && step.most - step.least <= block &&
                        step.quietest > 0.95 * Echo::level);
        if (step.pulses == 0) continue;
        if (seconds > 0 && (step.least < whole.least || step.most > whole.most))
            std::printf(
                "%6.1f s: %d to %d frames, level %.0f\n",
                std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count(),
                step.least, step.most, step.quietest);
        whole.least = std::min(whole.least, step.least);
        whole.most = std::max(whole.most, step.most);
        whole.quietest = std::min(whole.quietest, step.quietest);
        whole.pulses += step.pulses;
    } while (std::chrono::steady_clock::now() - begin < std::chrono::seconds(seconds) ||
             (!good && ++attempts < 10));
    EXPECT_TRUE(good) << "microphone late by " << whole.least << " to " << whole.most
                      << " frames, level " << whole.quietest;
    if (seconds == 0) return;
    std::printf("%d pulses: microphone late by %d to %d frames, least level %.0f of %.0f\n",
                whole.pulses, whole.least, whole.most, whole.quietest, Echo::level);
    EXPECT_LE(whole.most - whole.least, block);
}

TEST_P(SharedEngine, KeepsMicrophoneAndSystemSoundInStep) {
    const Echo echo(server, 60 + Length("VIMBREL_SOUND_SECONDS", 0));
    engine.SetOutputDevice(L"Speakers");
    engine.SetInputDevice(L"Echo");
    engine.Start();
    ExpectInStep(heard);
}

TEST_P(SharedEngine, AFactoryOfItsOwnKeepsThemInStepAsWell) {
    const Echo echo(server, 60 + Length("VIMBREL_SOUND_SECONDS", 0));
    const auto factory = CAudioFactory::CreateAudioFactory();
    factory->SetDispatcher(heard.Dispatcher());
    ASSERT_TRUE(factory->Open(true, L"Speakers", true, L"Echo"));
    ASSERT_TRUE(factory->Start());
    ExpectInStep(heard);
    factory->Close();
}

TEST_P(SharedEngine, RoundsLeaveNothing) {
    // What a slow round hears would be kept.
    engine.SetDispatcher(nullptr);
    const auto round = [&] {
        engine.SetOutputDevice(L"Speakers");
        engine.SetInputDevice(L"Microphone");
        engine.Start();
        engine.Stop();
    };
    const int rounds = Length("VIMBREL_SOUND_ROUNDS", 30);
    for (int i = 0; i < rounds / 10; ++i) round();
    const ProcessCounts before = ProcessCounts::Now();
    for (int i = 0; i < rounds; ++i) round();
    // The allocator keeps some blocks of its own, which few rounds do not outweigh. What one round
    // would leave of a stream is more.
    ExpectNothingLeft(before, static_cast<std::size_t>(2'000 * std::max(rounds, 500)));
}

INSTANTIATE_TEST_SUITE_P(Servers, SharedEngine,
                         testing::Values(SoundServerKind::pulse_audio, SoundServerKind::pipe_wire),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace Vimbrel::test

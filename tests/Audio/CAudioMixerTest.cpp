#include "Audio/CAudioMixer.h"

#include <algorithm>

#include "tests/Audio/AudioKit.h"
#include "tests/fakes/ManualClock.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/ProcessCounts.h"
#include "tests/support/WaitUntil.h"

namespace Vimbrel::test {
namespace {

using Samples = std::vector<std::int16_t>;

constexpr std::size_t block_samples = CAudioMixer::block_samples;

struct Block {
    Samples samples;
    std::int64_t timestamp;
    std::int64_t duration;
};

// The turns of the mixing thread, one by one on the test's.
class CAudioMixerTest : public ::testing::Test {
protected:
    CAudioMixerTest() {
        mixer.SetDispatcher(
            [this](unsigned char* data, int size, std::int64_t timestamp, std::int64_t duration) {
                const auto* samples = reinterpret_cast<const std::int16_t*>(data);
                blocks.push_back({Samples(samples, samples + size / 2), timestamp, duration});
            });
        run = mixer.BeginRun();
    }

    CAudioChannel2& Add() {
        CAudioChannel2* const channel = mixer.AddChannel(&engine_format);
        channel->Activate();
        return *channel;
    }
    static void Fill(CAudioChannel2& channel, Samples samples) {
        channel.WriteSamples(reinterpret_cast<unsigned char*>(samples.data()),
                             static_cast<int>(samples.size() * 2), 0, 0);
    }
    // The block of one turn; empty if there was none.
    Samples Turn() {
        blocks.clear();
        mixer.Turn(*run);
        clock.AdvanceUnits(run->period);
        return blocks.empty() ? Samples() : blocks.front().samples;
    }

    ManualClock clock;
    ScopedClock scoped_clock{clock};
    CAudioMixer mixer;
    std::vector<Block> blocks;
    std::unique_ptr<CAudioMixer::MixRun> run;
};

TEST_F(CAudioMixerTest, OneBlockIsDuePerPeriodAndOneATurnWhenLate) {
    CAudioChannel2& channel = Add();
    Fill(channel, Samples(20 * block_samples, 5));
    mixer.Turn(*run);
    mixer.Turn(*run);
    clock.AdvanceUnits(232'199);
    mixer.Turn(*run);
    ASSERT_EQ(blocks.size(), 1U);
    EXPECT_EQ(blocks[0].samples, Samples(block_samples, 5));
    EXPECT_EQ(blocks[0].duration, 232'200);
    clock.AdvanceUnits(1 + 9 * 232'200);
    for (std::size_t turn = 1; turn <= 11; ++turn) {
        ASSERT_EQ(blocks.size(), turn);
        EXPECT_EQ(blocks.back().timestamp, static_cast<std::int64_t>(turn - 1) * 232'200);
        mixer.Turn(*run);
    }
    EXPECT_EQ(blocks.size(), 11U);
}

TEST_F(CAudioMixerTest, StampsAdvanceWithoutDelivery) {
    EXPECT_EQ(Turn(), Samples());
    CAudioChannel2& channel = Add();
    Write(channel, Joined(Bytes(), 4095, Bytes()), 0, 0);
    EXPECT_EQ(Turn(), Samples());
    EXPECT_EQ(channel.used, 4095U);
    Write(channel, Bytes(1), 0, 0);
    EXPECT_EQ(Turn(), Samples(block_samples, 0));
    EXPECT_EQ(blocks.front().timestamp, 2 * 232'200);
}

TEST_F(CAudioMixerTest, AReadyChannelThatIsNotEnabledHidesThoseAfterIt) {
    CAudioChannel2& first = Add();
    CAudioChannel2& second = Add();
    CAudioChannel2& third = Add();
    for (CAudioChannel2* channel : {&first, &second, &third})
        Fill(*channel, Samples(4 * block_samples, channel == &third ? 100 : 1));
    second.enabled = false;
    EXPECT_EQ(Turn(), Samples(block_samples, 1));
    // One that is not ready is passed over before that.
    second.accepting = false;
    EXPECT_EQ(Turn(), Samples(block_samples, 101));
    second.accepting = true;
    EXPECT_EQ(Turn(), Samples(block_samples, 1));
    mixer.RemoveChannel(&second);
    EXPECT_EQ(Turn(), Samples(block_samples, 101));
    mixer.RemoveChannel(&second);
}

TEST_F(CAudioMixerTest, VolumesBelowOneHundredScaleAndSumsAreClipped) {
    CAudioChannel2& first = Add();
    CAudioChannel2& second = Add();
    const struct {
        std::int32_t volume;
        std::int16_t other;
        std::int16_t sum;
    } cases[] = {{-5, 1000, 1061},  {0, 1000, 1000},   {50, 1000, 383},    {99, 1000, -222},
                 {100, 1000, -235}, {150, 1000, -235}, {-5, 32767, 32767}, {100, -32768, -32768}};
    for (const auto& each : cases) {
        Fill(first, Samples(block_samples, -1235));
        Fill(second, Samples(block_samples, each.other));
        first.volume = each.volume;
        EXPECT_EQ(Turn(), Samples(block_samples, each.sum));
    }
}

TEST_F(CAudioMixerTest, TheFormatGivesThePeriod) {
    mixer.SetFormat(Pcm(2, 96'000, 16));
    EXPECT_EQ(mixer.BeginRun()->period, 106'667);
    mixer.SetFormat(Pcm(2, 0, 16));
    EXPECT_EQ(mixer.BeginRun(), nullptr);
}

// On a thread of its own the mixer uses the system's clock.
TEST(CAudioMixerThreadTest, ChannelsTakePartFromTheStartOrAtOnce) {
    const ScopedCom com;
    CAudioMixer mixer;
    std::atomic<int> sum{0};
    mixer.SetDispatcher([&](unsigned char* data, int, std::int64_t, std::int64_t) {
        sum = *reinterpret_cast<const std::int16_t*>(data);
    });
    CAudioChannel2* const early = mixer.AddChannel(&engine_format);
    EXPECT_FALSE(early->enabled);
    mixer.Start();
    mixer.Start();
    EXPECT_TRUE(early->enabled);
    CAudioChannel2* const late = mixer.AddChannel(&engine_format);
    EXPECT_TRUE(late->enabled);
    EXPECT_GT(late->id, early->id);
    const Bytes ones(40 * 4096, 1);
    Write(*early, ones, 0, 0);
    Write(*late, ones, 0, 0);
    EXPECT_TRUE(WaitUntil([&] { return sum == 2 * 257; }));
    mixer.Stop();
    mixer.Stop();
    EXPECT_FALSE(early->enabled);
    EXPECT_EQ(early->used + late->used, 0U);
    // An emptied channel is none that hides others at the next start.
    mixer.RemoveChannel(late);
    mixer.Start();
    Write(*early, ones, 0, 0);
    EXPECT_TRUE(WaitUntil([&] { return sum == 257; }));
}

TEST(CAudioMixerThreadTest, NothingIsAllocatedFromTheFirstBlockOn) {
    const ScopedCom com;
    CAudioMixer mixer;
    constexpr int last = 10;
    std::atomic<bool> written{false};
    std::atomic<int> delivered{0};
    std::uint64_t counts[last]{};
    mixer.SetDispatcher([&](unsigned char*, int, std::int64_t, std::int64_t) {
        if (!written || delivered == last) return;
        counts[delivered] = AllocationCount();
        ++delivered;
    });
    CAudioChannel2* const channels[] = {mixer.AddChannel(&engine_format),
                                        mixer.AddChannel(&engine_format)};
    channels[1]->volume = 90;
    mixer.Start();
    // The mixing thread takes some of it before all is written.
    for (CAudioChannel2* channel : channels) Write(*channel, Bytes(200 * 4096, 1), 0, 0);
    written = true;
    EXPECT_TRUE(WaitUntil([&] { return delivered == last; }));
    mixer.Stop();
    EXPECT_EQ(counts[last - 1], counts[0]);
}

TEST(CAudioMixerThreadTest, ProducersComeAndGoWhileItMixes) {
    const ScopedCom com;
    CAudioMixer mixer;
    std::atomic<int> delivered{0};
    mixer.SetDispatcher([&](unsigned char*, int, std::int64_t, std::int64_t) { ++delivered; });
    mixer.Start();
    std::vector<std::thread> producers;
    for (int producer = 0; producer < 4; ++producer) {
        producers.emplace_back([&mixer, producer] {
            const ScopedCom com_of_thread;
            // Two of them convert.
            const WAVEFORMATEX format = Pcm(2, producer % 2 == 0 ? 44100 : 48000, 16);
            for (unsigned round = 0; round < 8; ++round) {
                CAudioChannel2* const channel = mixer.AddChannel(&format);
                for (std::int64_t block = 0; block < 60; ++block) {
                    // Every seventh stamp jumps back, every fifth leaves a gap.
                    const std::int64_t start = block * 100'000 - (block % 7 == 0 ? 30'000 : 0);
                    Write(*channel, Pattern(4096, round), start,
                          start + (block % 5 == 0 ? 50'000 : 100'000));
                    channel->volume = static_cast<std::int32_t>(block);
                }
                mixer.RemoveChannel(channel);
            }
        });
    }
    for (int round = 0; round < 20; ++round) {
        mixer.Stop();
        mixer.Start();
    }
    for (std::thread& producer : producers) producer.join();
    CAudioChannel2* const channel = mixer.AddChannel(&engine_format);
    const int before = delivered;
    Write(*channel, Pattern(8 * 4096), 0, 0);
    EXPECT_TRUE(WaitUntil([&] { return delivered > before; }));
}

TEST(CAudioMixerThreadTest, AThousandRoundsOfStartAndStopLeaveNothingBehind) {
    const ScopedCom com;
    const WAVEFORMATEX format = Pcm(2, 48000, 16);
    ProcessCounts before;
    for (int round = 0; round < 1000; ++round) {
        if (round == 1) before = ProcessCounts::Now();
        CAudioMixer mixer;
        mixer.AddChannel(round % 100 == 0 ? &format : &engine_format);
        mixer.Start();
        mixer.Stop();
        if (round % 2 == 0) mixer.Start();
    }
    // A busy Wine keeps some dozens of its own for a while.
    const ProcessCounts after = ProcessCounts::Now();
    EXPECT_LT(after.handles + after.threads, before.handles + before.threads + 100);
}

}  // namespace
}  // namespace Vimbrel::test

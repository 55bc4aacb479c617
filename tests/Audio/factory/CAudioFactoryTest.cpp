#include "vimbrel/AudioFactory.h"

#include <atomic>
#include <thread>

#include "tests/Audio/factory/FactoryKit.h"
#include "tests/support/Wine.h"

namespace Vimbrel::test {
namespace {

class CAudioFactoryTest : public FactoryTest {
protected:
    CAudioFactoryTest() { factory->SetDispatcher(Collect()); }
    ~CAudioFactoryTest() override { factory->Close(); }
    bool Open(bool system_sound, bool with_microphone) {
        return factory->Open(system_sound, L"Speakers", with_microphone, L"Microphone");
    }

    std::unique_ptr<CAudioFactory> factory = CAudioFactory::CreateAudioFactory();
};

TEST_F(CAudioFactoryTest, OpensWhatIsAskedForAndThere) {
    EXPECT_TRUE(factory->IsChannelOpen(0));
    EXPECT_TRUE(factory->IsChannelOpen(1));
    EXPECT_FALSE(factory->IsChannelOpen(-1));
    EXPECT_FALSE(Open(false, false));
    EXPECT_FALSE(factory->Start());
    EXPECT_TRUE(Open(true, true));
    EXPECT_TRUE(factory->Open(true, L"Speakers", true, L"no such microphone"));
    EXPECT_TRUE(factory->IsChannelOpen(0));
    EXPECT_FALSE(factory->IsChannelOpen(1));
    speakers().initialize = E_ACCESSDENIED;
    EXPECT_TRUE(Open(true, true));
    EXPECT_FALSE(factory->IsChannelOpen(0));
    EXPECT_TRUE(factory->IsChannelOpen(1));
    devices.prepare = [](FakeMicrophone& each) { each.run = E_FAIL; };
    EXPECT_TRUE(Open(true, true));
    // The only one does not run, except that Wine's graph runs all the same.
    EXPECT_EQ(factory->Start(), RunsUnderWine());
    EXPECT_EQ(factory->IsChannelOpen(1), RunsUnderWine());
    const WAVEFORMATEX& format = *factory->GetOutputFormat();
    EXPECT_TRUE(IsSameFormat(format, engine_format));
}

TEST_F(CAudioFactoryTest, TheMicrophoneAloneComesAsItIsOnItsOwnThread) {
    FakeMicrophones other(Pcm(1, 8'000, 8));
    ASSERT_TRUE(Open(false, true));
    ASSERT_TRUE(factory->Start());
    const Bytes sound = Pattern(100);
    EXPECT_EQ(other.newest->Speak(sound, 70, 80), S_OK);
    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_EQ(std::memcmp(blocks[0].samples.data(), sound.data(), 100), 0);
    EXPECT_EQ(blocks[0].time, 70);
    EXPECT_EQ(blocks[0].duration, 10);
    EXPECT_EQ(blocks[0].thread, std::this_thread::get_id());
    factory->Close();
    // Kept: one source stays marked as running until the next Open.
    EXPECT_TRUE(factory->Start());
    EXPECT_TRUE(Open(false, true));
    EXPECT_TRUE(factory->Start());
}

TEST_F(CAudioFactoryTest, SystemSoundAloneIsConvertedAndStampedByTheCounter) {
    speakers().mix_format = FloatFormat(88'200, 1);
    ASSERT_TRUE(Open(true, false));
    ASSERT_TRUE(factory->Start());
    // A tenth of a second per packet.
    for (int i = 0; i < 10; ++i)
        speakers().Queue({std::vector<BYTE>(17'640), 8'820, 5, static_cast<UINT64>(i + 1)});
    ASSERT_TRUE(WaitUntil([&] { return speakers().releases == 10; }));
    factory->Close();
    std::size_t samples = 0;
    ASSERT_FALSE(blocks.empty());
    for (const Block& each : blocks) {
        EXPECT_EQ(each.duration, 232'199) << "that of a block, whatever the size";
        samples += each.samples.size();
    }
    EXPECT_NEAR(static_cast<double>(samples), 88'200, 2'000);
    EXPECT_EQ(blocks.back().time, 10);
}

TEST_F(CAudioFactoryTest, TwoSourcesAreAddedInBlocksWithTheirOwnStamps) {
    ASSERT_TRUE(Open(true, true));
    ASSERT_TRUE(factory->Start());
    ASSERT_TRUE(factory->Start());
    microphone().Speak(Samples(4096, 30'000), 0, 0);
    speakers().Queue(PacketOf(Samples(2048, 100), 0, 0));
    speakers().Queue(PacketOf(Samples(2048, 5'000), 0, 0));
    ASSERT_TRUE(Came(2));
    factory->Close();
    EXPECT_THAT(blocks[0].samples, testing::Each(30'100));
    EXPECT_THAT(blocks[1].samples, testing::Each(32'767));
    EXPECT_EQ(blocks[0].samples.size(), 2048u);
    EXPECT_EQ(blocks[0].time, 0);
    EXPECT_EQ(blocks[1].time, 232'199);
    EXPECT_EQ(blocks[1].duration, 232'199);
    EXPECT_NE(blocks[0].thread, std::this_thread::get_id());
}

// A part of a block does not hold the other source up.
TEST_F(CAudioFactoryTest, APartOfABlockLeavesTheOtherSourceAlone) {
    ASSERT_TRUE(Open(true, true));
    ASSERT_TRUE(factory->Start());
    speakers().Queue(PacketOf(Samples(100, 1), 0, 0));
    ASSERT_TRUE(WaitUntil([&] { return speakers().releases == 1; }));
    microphone().Speak(Samples(2048, 7), 0, 0);
    ASSERT_TRUE(Came(1));
    factory->Close();
    EXPECT_THAT(blocks[0].samples, testing::Each(7));
}

// Nothing comes from the sources, whose devices may be gone: Close ends all the same, and a new
// start works.
TEST_F(CAudioFactoryTest, CloseDoesNotWaitForSound) {
    for (int round = 0; round < 20; ++round) {
        ASSERT_TRUE(Open(true, true));
        ASSERT_TRUE(factory->Start());
        const int before = speakers().waits;
        if (round % 2) microphone().Speak(Samples(2048, 1), 0, 0);
        // Meanwhile the mixing thread comes to its own wait.
        ASSERT_TRUE(WaitUntil([&] { return speakers().waits >= before + 4; }));
        std::atomic<bool> closed{false};
        std::thread closing([&] {
            const ScopedCom own;
            factory->Close();
            closed = true;
        });
        EXPECT_TRUE(WaitUntil([&] { return closed.load(); }));
        if (!closed) {
            // Sound lets it go.
            microphone().Speak(Samples(2048, 1), 0, 0);
            speakers().Queue(PacketOf(Samples(2048, 1), 0, 0));
        }
        closing.join();
        EXPECT_EQ(speakers().streams, 0);
        if (HasFailure()) return;
    }
    ASSERT_TRUE(Open(true, true));
    ASSERT_TRUE(factory->Start());
    const std::size_t before = Count();
    microphone().Speak(Samples(2048, 1), 0, 0);
    speakers().Queue(PacketOf(Samples(2048, 1), 0, 0));
    EXPECT_TRUE(Came(before + 1));
}

}  // namespace
}  // namespace Vimbrel::test

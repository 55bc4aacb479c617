#include "Audio/CAudioChannel.h"

#include <algorithm>
#include <deque>
#include <random>
#include <thread>

#include "tests/Audio/AudioKit.h"
#include "tests/fakes/FakeResampler.h"

namespace Vimbrel::test {
namespace {

constexpr int ring_size = 49152;

class CAudioChannelTest : public ::testing::Test {
protected:
    CAudioChannelTest() {
        channel.Configure(&engine_format, &engine_format);
        channel.Start();
    }

    void Push(Bytes bytes) { channel.PushSamples(bytes.data(), static_cast<int>(bytes.size())); }

    struct Popped {
        bool whole;
        int size;
        Bytes bytes;
    };
    Popped Pop(std::size_t wanted) {
        Popped popped{false, static_cast<int>(wanted), Bytes(wanted)};
        popped.whole = channel.PopBlock(popped.bytes.data(), &popped.size);
        return popped;
    }

    CAudioChannel channel;
};

TEST_F(CAudioChannelTest, OverwritesTheOldestBytes) {
    const Bytes bytes = Pattern(ring_size + 1000);
    Push({bytes.begin(), bytes.begin() + 1000});
    Push({bytes.begin() + 1000, bytes.end()});
    const Popped popped = Pop(ring_size);
    EXPECT_TRUE(popped.whole);
    EXPECT_EQ(popped.bytes, Bytes(bytes.begin() + 1000, bytes.end()));
}

TEST_F(CAudioChannelTest, ABlockLargerThanTheRingReplacesEverything) {
    Push(Pattern(100, 7));
    const Bytes large = Pattern(ring_size + 1);
    Push(large);
    EXPECT_FALSE(Pop(large.size() + 1).whole);
    // The ring holds twice that block now.
    Push(large);
    EXPECT_EQ(Pop(2 * large.size()).bytes, Joined(large, 0, large));
}

TEST_F(CAudioChannelTest, AShortReadTakesNothing) {
    const Bytes bytes = Pattern(4095);
    Push(bytes);
    const Popped popped = Pop(4096);
    EXPECT_FALSE(popped.whole);
    EXPECT_EQ(popped.size, 4096);
    EXPECT_EQ(Pop(4095).bytes, bytes);
}

TEST_F(CAudioChannelTest, AClosedChannelGivesWhatItHasAndMinusOne) {
    Push(Pattern(100));
    channel.Close();
    Popped popped = Pop(60);
    EXPECT_TRUE(popped.whole);
    EXPECT_EQ(popped.size, -1);
    EXPECT_FALSE(Pop(60).whole);
    Pop(40);
    EXPECT_EQ(Pop(60).size, -1);
    channel.Start();
    Push(Pattern(60));
    popped = Pop(60);
    EXPECT_EQ(popped.size, 60);
    EXPECT_EQ(popped.bytes, Pattern(60));
    Push(Pattern(60));
    channel.Shutdown();
    popped = Pop(60);
    EXPECT_TRUE(popped.whole);
    EXPECT_EQ(popped.size, -1);
}

// A reader of an empty ring, and how it ends.
TEST_F(CAudioChannelTest, AnEmptyWaitEndsByDataOrByCloseAlone) {
    for (const bool by_data : {true, false}) {
        channel.Start();
        std::atomic<bool> may_end{false};
        std::thread reader([&] {
            const Popped popped = Pop(4);
            EXPECT_TRUE(may_end);
            EXPECT_EQ(popped.whole, by_data);
            EXPECT_EQ(popped.size, by_data ? 4 : -1);
        });
        channel.Shutdown();
        channel.Start();
        may_end = true;
        if (by_data) {
            Push(Pattern(4));
        } else {
            channel.Close();
        }
        reader.join();
    }
}

TEST_F(CAudioChannelTest, IgnoresWhatItDoesNotAccept) {
    channel.opened = false;
    Push(Pattern(100));
    channel.opened = true;
    channel.Shutdown();
    Push(Pattern(100));
    channel.Start();
    channel.PushSamples(nullptr, 100);
    Push(Pattern(5));
    EXPECT_FALSE(Pop(6).whole);
}

TEST_F(CAudioChannelTest, ConvertsWhatComesInAnotherFormat) {
    const ScopedCom com;
    const FakeResampler::Override fake;
    const WAVEFORMATEX mono = Pcm(1, 48000, 16);
    channel.Configure(&engine_format, &mono);
    fake->input_result = E_FAIL;
    Push(Pattern(100));
    fake->input_result = S_OK;
    fake->output_result = E_FAIL;
    Push(Pattern(100));
    fake->output_result = S_OK;
    Push(Pattern(100));
    EXPECT_FALSE(Pop(101).whole);
    EXPECT_EQ(Pop(100).bytes, Pattern(100));
    EXPECT_EQ(fake->outputs, 2);

    fake->type_result = E_FAIL;
    channel.Configure(&engine_format, &mono);
    Push(Pattern(100));
    channel.Close();
    EXPECT_FALSE(Pop(1).whole);
}

TEST_F(CAudioChannelTest, RandomWritesAndReadsAreThoseOfAQueue) {
    std::mt19937 random(1);
    std::deque<unsigned char> model;
    for (int i = 0; i < 3000; ++i) {
        if (random() % 2 == 0) {
            const Bytes bytes = Pattern(1 + random() % 9000, random());
            Push(bytes);
            model.insert(model.end(), bytes.begin(), bytes.end());
            if (model.size() > ring_size) model.erase(model.begin(), model.end() - ring_size);
        } else if (!model.empty()) {
            const std::size_t wanted = 1 + random() % 9000;
            const Popped popped = Pop(wanted);
            ASSERT_EQ(popped.whole, wanted <= model.size());
            if (!popped.whole) continue;
            ASSERT_TRUE(std::equal(popped.bytes.begin(), popped.bytes.end(), model.begin()));
            model.erase(model.begin(), model.begin() + static_cast<std::ptrdiff_t>(wanted));
        }
    }
}

}  // namespace
}  // namespace Vimbrel::test

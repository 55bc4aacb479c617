#include "Audio/CAudioChannel.h"

#include <algorithm>
#include <deque>
#include <random>
#include <thread>

#include "tests/Audio/AudioKit.h"
#include "tests/fakes/FakeResampler.h"

namespace Vimbrel::test {
namespace {

constexpr std::size_t ring_size = 49152;

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

TEST_F(CAudioChannelTest, RandomWritesAndReadsAreThoseOfAQueueThatForgets) {
    std::mt19937 random(1);
    std::deque<unsigned char> model;
    std::size_t capacity = ring_size;
    for (int i = 0; i < 3000; ++i) {
        if (random() % 2 == 0) {
            // Now and then a block is larger than the ring and replaces everything.
            const Bytes bytes = Pattern(1 + random() % (i % 100 == 99 ? 150'000 : 9000), i);
            Push(bytes);
            if (bytes.size() > capacity) {
                capacity = 2 * bytes.size();
                model.clear();
            }
            model.insert(model.end(), bytes.begin(), bytes.end());
            if (model.size() > capacity) model.erase(model.begin(), model.end() - capacity);
        } else if (!model.empty()) {
            const std::size_t wanted = 1 + random() % 9000;
            const Popped popped = Pop(wanted);
            ASSERT_EQ(popped.whole, wanted <= model.size());
            ASSERT_EQ(popped.size, wanted);
            if (!popped.whole) continue;
            ASSERT_TRUE(std::equal(popped.bytes.begin(), popped.bytes.end(), model.begin()));
            model.erase(model.begin(), model.begin() + static_cast<std::ptrdiff_t>(wanted));
        }
    }
    EXPECT_GT(capacity, ring_size);
}

TEST_F(CAudioChannelTest, AChannelThatEndedGivesWhatItHasAndMinusOne) {
    for (const bool by_close : {true, false}) {
        channel.Start();
        Push(Pattern(60));
        by_close ? channel.Close() : channel.Shutdown();
        EXPECT_FALSE(Pop(61).whole);
        const Popped popped = Pop(60);
        EXPECT_TRUE(popped.whole);
        EXPECT_EQ(popped.bytes, Pattern(60));
        EXPECT_EQ(popped.size, -1);
    }
    channel.Close();
    EXPECT_EQ(Pop(60).size, -1) << "no wait";
}

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
        // Often enough for the reader to be there.
        for (int i = 0; i < 200; ++i) {
            channel.Shutdown();
            channel.Start();
            std::this_thread::yield();
        }
        may_end = true;
        if (by_data) {
            Push(Pattern(4));
        } else {
            channel.Close();
        }
        reader.join();
    }
}

TEST_F(CAudioChannelTest, TakesOnlyWhatItAcceptsAndCanConvert) {
    channel.opened = false;
    Push(Pattern(100));
    channel.opened = true;
    channel.Shutdown();
    Push(Pattern(100));
    channel.Start();
    channel.PushSamples(nullptr, 100);

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
    Push(Pattern(100, 2));
    EXPECT_FALSE(Pop(101).whole);
    EXPECT_EQ(Pop(100).bytes, Pattern(100, 2));
    EXPECT_EQ(fake->outputs, 2);

    fake->type_result = E_FAIL;
    channel.Configure(&engine_format, &mono);
    Push(Pattern(100));
    channel.Close();
    EXPECT_FALSE(Pop(1).whole);
}

}  // namespace
}  // namespace Vimbrel::test

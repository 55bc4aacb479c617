// The base of the live encoders, with an encoder that the test steers.
#include "rtmpencoder/live_encoder.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>

#include <future>
#include <new>
#include <vector>

namespace Vimbrel::test {
namespace {

using namespace std::chrono_literals;

struct NumberedPacket final : live_encoder::packet {
    explicit NumberedPacket(int order) : packet(type_video), number(order) { ++alive; }
    ~NumberedPacket() override { --alive; }

    int number;
    static inline std::atomic<int> alive{0};
};

// Waits at its first packet until the test lets it go on, and records its packets.
class SteeredEncoder final : public live_encoder {
public:
    ~SteeredEncoder() override { stop(); }

    bool on_packet(packet* input) override {
        const int number = static_cast<const NumberedPacket&>(*input).number;
        got.push_back(number);
        if (got.size() == 1) {
            at_work.set_value();
            EXPECT_EQ(go_on.get_future().wait_for(10s), std::future_status::ready);
        }
        encoded_frame_ptr frame = make_encoded_frame(encoded_frame::type_h264, "x", 1);
        if (number == starved_number) throw std::bad_alloc();
        if (auto* const receiver = dispatcher.load()) receiver->dispatch(frame);
        return number != failing_number;
    }
    bool on_start() override {
        if (start_is_starved) throw std::bad_alloc();
        return starts;
    }
    void on_stop() override { ++stops; }

    void Post(int number) {
        std::unique_ptr<packet> posted = std::make_unique<NumberedPacket>(number);
        post(posted);
        EXPECT_EQ(posted, nullptr);
    }

    bool starts = true;
    bool start_is_starved = false;
    int failing_number = -1;
    int starved_number = -1;
    int stops = 0;
    std::vector<int> got;
    std::promise<void> at_work;
    std::promise<void> go_on;
};

class CountingDispatcher final : public live_encoder::dispatcher {
public:
    void dispatch(encoded_frame_ptr&) override { ++count; }
    std::atomic<int> count{0};
};

void WaitFor(const std::atomic<bool>& flag, bool value) {
    ASSERT_TRUE(WaitUntil([&] { return flag == value; }));
}

TEST(LiveEncoder, DropsTheOldestOfTwelveAndNothingElse) {
    SteeredEncoder encoder;
    CountingDispatcher dispatcher;
    encoder.dispatcher = &dispatcher;
    ASSERT_TRUE(encoder.start());
    encoder.Post(0);
    encoder.at_work.get_future().wait();
    // The encoder holds one; twelve of these fourteen may wait.
    for (int i = 1; i <= 14; ++i) encoder.Post(i);
    EXPECT_EQ(NumberedPacket::alive, 13);
    encoder.go_on.set_value();
    WaitUntil([&] { return dispatcher.count >= 13; });
    encoder.stop();
    EXPECT_EQ(encoder.got, (std::vector<int>{0, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14}));
    EXPECT_EQ(encoder.dropped, 2U);
    EXPECT_EQ(encoder.stops, 1);
    EXPECT_EQ(NumberedPacket::alive, 0);
}

TEST(LiveEncoder, StopOvertakesWhatWaitsAndDispatchesNothingMore) {
    SteeredEncoder encoder;
    CountingDispatcher dispatcher;
    encoder.dispatcher = &dispatcher;
    ASSERT_TRUE(encoder.start());
    encoder.Post(0);
    encoder.at_work.get_future().wait();
    for (int i = 1; i <= 12; ++i) encoder.Post(i);
    std::thread stopping([&] { encoder.stop(); });
    while (encoder.dispatcher != nullptr) std::this_thread::yield();
    // The stop order has emptied the queue, so that this is the only other packet alive.
    EXPECT_TRUE(WaitUntil([] { return NumberedPacket::alive == 1; }));
    encoder.go_on.set_value();
    stopping.join();
    EXPECT_EQ(encoder.got, std::vector<int>{0});
    EXPECT_EQ(dispatcher.count, 0);
    EXPECT_FALSE(encoder.running);
}

TEST(LiveEncoder, AFailingPacketEndsTheThreadAndLeavesTheDispatcher) {
    SteeredEncoder encoder;
    CountingDispatcher dispatcher;
    encoder.dispatcher = &dispatcher;
    encoder.failing_number = 0;
    encoder.go_on.set_value();
    ASSERT_TRUE(encoder.start());
    encoder.Post(0);
    WaitFor(encoder.running, false);
    EXPECT_EQ(encoder.stops, 1);
    // No thread takes these; twelve at most stay.
    for (int i = 1; i <= 20; ++i) encoder.Post(i);
    EXPECT_EQ(NumberedPacket::alive, 12);
    encoder.stop();
    EXPECT_EQ(encoder.dispatcher, &dispatcher);
}

TEST(LiveEncoder, AFailingStartIsTheResultAndIsNotTakenDown) {
    SteeredEncoder encoder;
    encoder.starts = false;
    EXPECT_FALSE(encoder.start());
    encoder.stop();
    EXPECT_EQ(encoder.stops, 0);
}

// It costs a packet and not the process.
TEST(LiveEncoder, WantOfMemoryLosesThePacketOrFailsTheStart) {
    SteeredEncoder encoder;
    CountingDispatcher dispatcher;
    encoder.dispatcher = &dispatcher;
    encoder.starved_number = 1;
    encoder.go_on.set_value();
    ASSERT_TRUE(encoder.start());
    for (int i = 0; i < 3; ++i) encoder.Post(i);
    WaitUntil([&] { return dispatcher.count >= 2; });
    encoder.stop();
    EXPECT_EQ(dispatcher.count, 2);
    EXPECT_EQ(encoder.got, (std::vector<int>{0, 1, 2}));

    SteeredEncoder starved;
    starved.start_is_starved = true;
    EXPECT_FALSE(starved.start());
    EXPECT_EQ(starved.stops, 0);
}

TEST(LiveEncoder, RunsOnce) {
    for (const bool starts : {true, false}) {
        SteeredEncoder encoder;
        encoder.starts = starts;
        EXPECT_EQ(encoder.start(), starts);
        EXPECT_FALSE(encoder.start());
        EXPECT_EQ(encoder.running, starts);
        encoder.stop();
        EXPECT_FALSE(encoder.start());
        EXPECT_FALSE(encoder.running);
    }
}

TEST(LiveEncoder, TwoThreadsMayStopIt) {
    for (int round = 0; round < 50; ++round) {
        SteeredEncoder encoder;
        ASSERT_TRUE(encoder.start());
        std::thread other([&] { encoder.stop(); });
        encoder.stop();
        other.join();
        EXPECT_FALSE(encoder.running);
    }
}

}  // namespace
}  // namespace Vimbrel::test

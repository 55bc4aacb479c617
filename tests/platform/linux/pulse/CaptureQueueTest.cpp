#include "platform/linux/pulse/CaptureQueue.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <vector>

namespace Vimbrel::test {
namespace {

using Bytes = std::vector<unsigned char>;

Bytes Content(const CaptureQueue::Packet& packet) {
    return packet.data ? Bytes(packet.data, packet.data + std::size_t{packet.frames} * 2) : Bytes();
}

// Packets come back whole and in order, holes included, at any fill, and those that are lost come
// back as holes. They are lost only when the queue holds more than half of what it can: the other
// part of it may be too short.
TEST(CaptureQueue, IsAQueue) {
    constexpr std::uint32_t most_frames = 100;
    constexpr std::size_t most_packets = 12;
    CaptureQueue queue(2, most_frames, most_packets);
    struct Kept {
        Bytes content;
        std::uint32_t frames;
    };
    std::deque<Kept> model;
    std::uint64_t frames = 0;
    int lost = 0;
    std::minstd_rand random(1);
    for (int step = 0; step < 50'000; ++step) {
        // Fills and empties by turns.
        const bool filling = step / 40 % 2 == 0;
        if (random() % 4 < (filling ? 3u : 1u)) {
            const Kept pushed{random() % 8 == 0 ? Bytes() : Bytes(2 * (1 + random() % 30)), 0};
            const auto count = pushed.content.empty()
                                   ? 1 + static_cast<std::uint32_t>(random() % 500)
                                   : static_cast<std::uint32_t>(pushed.content.size() / 2);
            Bytes content = pushed.content;
            for (auto& each : content) each = static_cast<unsigned char>(random());
            std::size_t sound = 0;
            for (const Kept& each : model) sound += each.content.size() / 2;
            if (!queue.Push(content.empty() ? nullptr : content.data(), count)) {
                ++lost;
                EXPECT_TRUE(model.size() >= most_packets || sound + count > most_frames / 2);
                content.clear();
            }
            frames += count;
            if (content.empty() && !model.empty() && model.back().content.empty()) {
                model.back().frames += count;
            } else {
                model.push_back({content, count});
            }
        } else if (!model.empty()) {
            frames -= model.front().frames;
            model.pop_front();
            queue.Pop();
        }
        ASSERT_EQ(queue.Frames(), frames);
        const CaptureQueue::Packet* const front = queue.Front();
        ASSERT_EQ(front != nullptr, !model.empty());
        if (!front) continue;
        ASSERT_EQ(front->frames, model.front().frames);
        ASSERT_EQ(Content(*front), model.front().content);
    }
    EXPECT_GT(lost, 100);
    queue.Clear();
    EXPECT_EQ(queue.Front(), nullptr);
    EXPECT_EQ(queue.Frames(), 0u);
}

}  // namespace
}  // namespace Vimbrel::test

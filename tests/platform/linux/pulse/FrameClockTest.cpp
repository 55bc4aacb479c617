#include "platform/linux/pulse/FrameClock.h"

#include <gtest/gtest.h>

#include <random>

namespace Vimbrel {
namespace {

constexpr std::uint32_t rate = 44'100;
constexpr LONGLONG second = 10'000'000;

TEST(FrameClock, CountsFramesWhateverTheServersLatencyDoes) {
    FrameClock clock(rate);
    std::mt19937 random(7);
    std::uniform_int_distribution<LONGLONG> jitter(-120'000, 120'000);
    clock.Arrived(5 * second, 441);
    const LONGLONG start = clock.After(0);
    EXPECT_EQ(start, 5 * second - second / 100);
    LONGLONG previous_end = start;
    for (int packet = 1; packet < 3000; ++packet) {
        EXPECT_EQ(clock.After(0), previous_end) << packet;
        previous_end = clock.After(441);
        clock.Take(441);
        clock.Arrived(start + (packet + 1) * (second / 100) + jitter(random), 441);
    }
    EXPECT_EQ(clock.After(0), start + 2999 * (second / 100));
}

TEST(FrameClock, MovesForPausesAndForWhatIsMissing) {
    struct Row {
        const char* what;
        LONGLONG late;  // of the newest frames against their count, for 0.4 s
        bool restarted;
        std::uint64_t hole;  // frames
        LONGLONG moved;
    };
    constexpr Row rows[] = {
        {"within the wander", 400'000, false, 0, 0},
        {"early within it", -400'000, false, 0, 0},
        {"beyond it", 400'001, false, 0, 400'001},
        {"early beyond it", -400'001, false, 0, -400'001},
        {"after a suspension", 10, true, 0, 10},
        {"a hole of 0.1 s that is counted", second / 10, false, rate / 10, second / 10},
    };
    for (const Row& row : rows) {
        FrameClock clock(rate);
        clock.Arrived(second, rate / 10);
        const LONGLONG next = clock.After(rate / 10);
        clock.Take(rate / 10);
        if (row.restarted) clock.Restart();
        clock.Take(row.hole);
        for (int tenth = 1; tenth <= 4; ++tenth)
            clock.Arrived(next + tenth * (second / 10) + row.late, tenth * rate / 10);
        EXPECT_EQ(clock.After(0), next + row.moved) << row.what;
    }
}

// A reader that comes late finds many packets: the oldest is late, the newest is not. The server
// may have sent only a part of them, and catches up.
TEST(FrameClock, AReadersStallMovesNothing) {
    constexpr LONGLONG packet = second / 100;
    FrameClock clock(rate);
    clock.Arrived(second, 441);
    const LONGLONG end = clock.After(441);
    clock.Take(441);
    clock.Arrived(second + 30 * packet, 30 * 441);
    EXPECT_EQ(clock.After(0), end);
    for (int i = 0; i < 9; ++i) {
        clock.Arrived(second + (130 + i) * packet, (30 + 11 * i) * 441);
        EXPECT_EQ(clock.After(0), end) << i;
    }
    clock.Arrived(second + 140 * packet, 140 * 441);
    // Doubts begin anew after that.
    clock.Arrived(second + 170 * packet, 160 * 441);
    EXPECT_EQ(clock.After(0), end);
}

TEST(FrameClock, CountsForYears) {
    FrameClock clock(48'000);
    clock.Arrived(0, 0);
    constexpr LONGLONG years = 10LL * 365 * 24 * 3600;
    clock.Take(years * 48'000);
    EXPECT_EQ(clock.After(24'000), years * second + second / 2);
}

}  // namespace
}  // namespace Vimbrel

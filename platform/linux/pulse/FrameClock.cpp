#include "platform/linux/pulse/FrameClock.h"

#include <utility>

namespace Vimbrel {

namespace {

constexpr std::uint64_t ticks_per_second = 10'000'000;
constexpr LONGLONG wander = 400'000;
constexpr LONGLONG longest_doubt = 3'000'000;

}  // namespace

// In two parts, since the product of all frames and the ticks would overflow within months.
LONGLONG FrameClock::Duration(std::uint64_t frames) const {
    return static_cast<LONGLONG>(frames / rate_ * ticks_per_second +
                                 frames % rate_ * ticks_per_second / rate_);
}

void FrameClock::Arrived(LONGLONG arrival, std::uint64_t waiting) {
    const LONGLONG off = arrival - After(waiting);
    const bool off_count = off > wander || off < -wander;
    if (!std::exchange(doubted_, off_count)) doubted_since_ = arrival;
    if (anchored_ && (!off_count || arrival - doubted_since_ < longest_doubt)) return;
    anchor_ = arrival - Duration(waiting);
    taken_ = 0;
    anchored_ = true;
    doubted_ = false;
}

}  // namespace Vimbrel

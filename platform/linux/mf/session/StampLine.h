// The line of time on which picture and sound of a recording stand, by stamps that may jump.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

namespace Vimbrel {

// Both media are stamped by one clock. When it jumps, each medium meets the jump in its own blocks.
// Both then get the same correction, so that they stay together. Times are in units of 100 ns.
//
// | A block's corrected stamp is                        | The block is placed                  |
// |-----------------------------------------------------|--------------------------------------|
// | the first of its medium                             | at its stamp, or at 0 if that is less |
// | up to `slack` behind the medium's end, or up to     | at the corrected stamp               |
// | `longest_gap` ahead of it                           |                                      |
// | further ahead, but `near` where the other medium is | at the corrected stamp               |
// | further behind or ahead: the clock has jumped       | at the medium's end                  |
//
// Known corrections are tried before a jump makes a new one: those of the other medium, which may
// have met this jump already, and the medium's own before its last jump, since a clock that was set
// wrong is often set back. A jump back that is shorter than the distance of the frames around it
// cannot be told from a shorter distance.
class StampLine {
public:
    enum Medium { PICTURE, SOUND };

    static constexpr std::int64_t second = 10'000'000;
    // How far stamps may waver.
    static constexpr std::int64_t tolerance = second / 10;
    // A longer gap is a jump: a clock that was set must not put hours of silence into the file.
    static constexpr std::int64_t longest_gap = 3600 * second;
    // Beyond this even a gap that the other medium shows to be one is refused: there is no end to
    // what would have to fill it.
    static constexpr std::int64_t longest_hold = 24 * longest_gap;
    // How far apart the media may be at a moment of the clock.
    static constexpr std::int64_t near = 60 * second;

    // Where a block with that stamp begins. The medium's material ends at `end` so far. Beginning
    // up to `slack` before that is no jump.
    std::int64_t Place(Medium medium, std::int64_t stamp, std::int64_t end, std::int64_t slack);

private:
    struct Line {
        bool began = false;
        std::int64_t correction = 0;
        std::optional<std::int64_t> before;  // the correction before the last jump
        std::int64_t reached = 0;            // where the last block begins
    };

    static std::int64_t CorrectionFor(const Line& line, const Line& other, std::int64_t stamp,
                                      std::int64_t end, std::int64_t slack);

    std::array<Line, 2> lines_;
};

}  // namespace Vimbrel

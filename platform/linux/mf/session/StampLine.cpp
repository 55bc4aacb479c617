#include "platform/linux/mf/session/StampLine.h"

#include <algorithm>
#include <cstdlib>

namespace Vimbrel {

std::int64_t StampLine::Place(Medium medium, std::int64_t stamp, std::int64_t end,
                              std::int64_t slack) {
    Line& line = lines_[medium];
    const Line& other = lines_[medium == SOUND ? PICTURE : SOUND];
    if (!line.began) {
        line.began = true;
        return line.reached = std::max<std::int64_t>(stamp, 0);
    }
    const std::int64_t correction = CorrectionFor(line, other, stamp, end, slack);
    if (correction != line.correction) {
        line.before = line.correction;
        line.correction = correction;
    }
    line.reached = stamp + correction;
    return line.reached;
}

std::int64_t StampLine::CorrectionFor(const Line& line, const Line& other, std::int64_t stamp,
                                      std::int64_t end, std::int64_t slack) {
    const std::int64_t place = stamp + line.correction;
    const std::int64_t ahead = place - end;
    if (ahead >= -slack && ahead <= tolerance) return line.correction;

    std::optional<std::int64_t> known;
    const auto consider = [&](std::optional<std::int64_t> correction, std::int64_t furthest) {
        if (!correction || *correction == line.correction) return;
        const std::int64_t then_ahead = stamp + *correction - end;
        if (then_ahead < -second || then_ahead > furthest) return;
        // Stamps that waver after a short jump are no jump back.
        if (std::abs(then_ahead) > std::abs(ahead) / 2) return;
        if (!known || std::abs(then_ahead) < std::abs(stamp + *known - end)) known = correction;
    };
    if ((ahead < -slack || ahead > near) && other.began) {
        consider(other.correction, near);
        consider(other.before, near);
    }
    consider(line.before, second);
    if (known) return *known;
    const bool other_is_there = other.began && std::abs(place - other.reached) <= near;
    if (ahead >= -slack && (ahead <= longest_gap || other_is_there)) return line.correction;
    return end - stamp;
}

}  // namespace Vimbrel

#include "platform/linux/mf/session/TrackTurns.h"

#include <algorithm>

namespace Vimbrel {

std::size_t TrackTurns::Next() {
    const auto next = std::find_if(tracks_.begin(), tracks_.end(), [this](const Track& track) {
        return track.wanted && !IsAhead(track);
    });
    if (next != tracks_.end()) next->wanted = false;
    return static_cast<std::size_t>(next - tracks_.begin());
}

bool TrackTurns::IsAhead(const Track& track) const {
    return std::any_of(tracks_.begin(), tracks_.end(), [&](const Track& other) {
        return other.last != 0 && !other.ended && other.last < track.last;
    });
}

}  // namespace Vimbrel

#include "platform/linux/mf/session/TrackTurns.h"

#include <algorithm>

namespace Vimbrel {

void TrackTurns::Reached(std::size_t track, std::int64_t time_100ns, std::int64_t duration_100ns) {
    // Stamps may be any numbers; their sums and differences are to fit.
    constexpr std::int64_t most = INT64_MAX / 4;
    tracks_[track].begun = true;
    tracks_[track].end = std::clamp(time_100ns, -most, most) +
                         std::clamp<std::int64_t>(duration_100ns, 0, longest_sample);
}

std::size_t TrackTurns::Next() {
    const auto next = std::find_if(tracks_.begin(), tracks_.end(), [this](const Track& track) {
        return track.wanted && !IsAhead(track);
    });
    if (next != tracks_.end()) next->wanted = false;
    return static_cast<std::size_t>(next - tracks_.begin());
}

bool TrackTurns::IsAhead(const Track& track) const {
    return track.begun && std::any_of(tracks_.begin(), tracks_.end(), [&](const Track& other) {
               const std::int64_t lead = track.end - other.end;
               return other.begun && !other.ended && lead > 0 && lead <= longest_lead;
           });
}

}  // namespace Vimbrel

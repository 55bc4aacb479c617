// Which track of a source is asked for its next sample.
//
// A live source may keep its lock until each of its streams has samples in store, so a request for
// the slower stream holds up the requests for the faster one, and the samples of that one pile up:
// pictures of megabytes. So the track that is behind is asked, as long as it is; the other waits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Vimbrel {

class TrackTurns {
public:
    explicit TrackTurns(std::size_t tracks) : tracks_(tracks) {}

    // A sample came.
    void Reached(std::size_t track, std::int64_t time_100ns, std::int64_t duration_100ns);
    // The track's next sample is wanted. It is asked for when Next names the track.
    void Want(std::size_t track) { tracks_[track].wanted = true; }
    void End(std::size_t track) { tracks_[track].ended = true; }
    // A wanted track whose turn it is, once; the number of tracks if there is none.
    std::size_t Next();

private:
    struct Track {
        bool begun = false;
        bool wanted = false;
        bool ended = false;
        std::int64_t end = 0;  // of its last sample
    };

    bool IsAhead(const Track& track) const;

    // Stamps that are further apart have jumped and tell nothing of what waits.
    static constexpr std::int64_t longest_lead = 100'000'000;
    static constexpr std::int64_t longest_sample = 10'000'000;

    std::vector<Track> tracks_;
};

}  // namespace Vimbrel

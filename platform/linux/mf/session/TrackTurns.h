// Which track of a source is asked for its next sample.
//
// A live source may keep its lock until each of its streams has samples in store, so a request to
// the slower stream holds up the requests to the faster one, whose samples pile up meanwhile:
// pictures of megabytes. So samples are asked for in the order in which the source made them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Vimbrel {

class TrackTurns {
public:
    explicit TrackTurns(std::size_t tracks) : tracks_(tracks) {}

    // A sample came. `number` rises from sample to sample of all tracks in the order in which they
    // were made; it is 0 if that is not known.
    void Came(std::size_t track, std::uint64_t number) { tracks_[track].last = number; }
    // The track's next sample is wanted. It is asked for when Next names the track.
    void Want(std::size_t track) { tracks_[track].wanted = true; }
    // Nobody waits for this track any more.
    void End(std::size_t track) { tracks_[track].ended = true; }
    // A wanted track whose turn it is, once; the number of tracks if there is none.
    std::size_t Next();

private:
    struct Track {
        bool wanted = false;
        bool ended = false;
        std::uint64_t last = 0;
    };

    bool IsAhead(const Track& track) const;

    std::vector<Track> tracks_;
};

}  // namespace Vimbrel

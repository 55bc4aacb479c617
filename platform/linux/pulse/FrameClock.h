// Times of recorded frames, counted in frames from one moment.
#pragma once

#include <windows.h>

#include <cstdint>

namespace Vimbrel {

// Frames are stamped by their number and not by their arrival, because a server's latency wanders
// by more milliseconds than the mixer's channels tolerate. Times are in units of 100 ns.
class FrameClock {
public:
    explicit FrameClock(std::uint32_t frames_per_second) : rate_(frames_per_second) {}

    // The next frames are recorded after a pause of unknown length.
    void Restart() { anchored_ = false; }
    // `waiting` frames were recorded and not yet taken; the newest of them arrived at `arrival`.
    // Counts anew from there after Restart, and when the count was off by more than the latency
    // wanders for 0.3 s. The newest frame is judged rather than the oldest one, which is late
    // whenever the reader was. After a reader's stall even the newest one is late for some
    // milliseconds, until the server has sent what its socket had no room for.
    void Arrived(LONGLONG arrival, std::uint64_t waiting);
    // The next frames are taken, or are missing in the recording.
    void Take(std::uint64_t frames) { taken_ += frames; }

    // When the frame after the next `frames` ones was recorded.
    LONGLONG After(std::uint64_t frames) const { return anchor_ + Duration(taken_ + frames); }

private:
    LONGLONG Duration(std::uint64_t frames) const;

    std::uint32_t rate_;
    bool anchored_ = false;
    LONGLONG anchor_ = 0;      // the time of frame 0
    std::uint64_t taken_ = 0;  // since the anchor
    bool doubted_ = false;
    LONGLONG doubted_since_ = 0;
};

}  // namespace Vimbrel

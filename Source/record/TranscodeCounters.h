// What a recorder counts, beside its operations: a second base, since MediaTranscode's slots are
// fixed.
#pragma once

#include <algorithm>
#include <atomic>

#include "vimbrel/MediaTranscode.h"

namespace Vimbrel {

class TranscodeCounters {
public:
    TranscodeStatistics Read() const {
        TranscodeStatistics counts;
        // What leaves is read before what comes: a frame in between never counts as more written
        // than taken.
        counts.failed = failed;
        const std::uint64_t video_late = video_refused;
        const std::uint64_t audio_late = audio_refused;
        counts.videoDropped = video_dropped;
        counts.videoWritten = video_written;
        counts.audioDropped = audio_dropped;
        counts.audioWritten = audio_written;
        MoveToDropped(video_late, counts.videoWritten, counts.videoDropped);
        MoveToDropped(audio_late, counts.audioWritten, counts.audioDropped);
        counts.videoTaken = video_taken;
        counts.videoLimited = video_limited;
        counts.audioTaken = audio_taken;
        return counts;
    }

protected:
    TranscodeCounters() = default;
    virtual ~TranscodeCounters() = default;

    void ResetCounters() {
        video_taken = 0;
        video_limited = 0;
        video_dropped = 0;
        video_written = 0;
        video_refused = 0;
        audio_taken = 0;
        audio_dropped = 0;
        audio_written = 0;
        audio_refused = 0;
        failed = false;
    }

    std::atomic<std::uint64_t> video_taken{0};
    std::atomic<std::uint64_t> video_limited{0};
    std::atomic<std::uint64_t> video_dropped{0};
    std::atomic<std::uint64_t> video_written{0};
    // Written, and left out by the encoder later.
    std::atomic<std::uint64_t> video_refused{0};
    std::atomic<std::uint64_t> audio_taken{0};
    std::atomic<std::uint64_t> audio_dropped{0};
    std::atomic<std::uint64_t> audio_written{0};
    std::atomic<std::uint64_t> audio_refused{0};
    std::atomic<bool> failed{false};

private:
    // The encoder may report a block before its way there is counted.
    static void MoveToDropped(std::uint64_t refused, std::uint64_t& written,
                              std::uint64_t& dropped) {
        const std::uint64_t moved = std::min(refused, written);
        written -= moved;
        dropped += moved;
    }
};

}  // namespace Vimbrel

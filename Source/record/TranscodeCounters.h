// What a recorder counts, beside its operations: a second base, since MediaTranscode's slots are
// fixed.
#pragma once

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
        counts.videoDropped = video_dropped;
        counts.videoWritten = video_written;
        counts.audioDropped = audio_dropped;
        counts.audioWritten = audio_written;
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
        audio_taken = 0;
        audio_dropped = 0;
        audio_written = 0;
        failed = false;
    }

    std::atomic<std::uint64_t> video_taken{0};
    std::atomic<std::uint64_t> video_limited{0};
    std::atomic<std::uint64_t> video_dropped{0};
    std::atomic<std::uint64_t> video_written{0};
    std::atomic<std::uint64_t> audio_taken{0};
    std::atomic<std::uint64_t> audio_dropped{0};
    std::atomic<std::uint64_t> audio_written{0};
    std::atomic<bool> failed{false};
};

}  // namespace Vimbrel

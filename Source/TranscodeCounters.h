// What a recorder counts, beside its operations: a second base, since MediaTranscode's slots are fixed.
#pragma once

#include <atomic>

#include "vimbrel/MediaTranscode.h"

namespace Vimbrel {

class TranscodeCounters {
public:
    TranscodeStatistics Read() const { return {video_taken.load(), video_limited.load(), video_dropped.load(), video_written.load()}; }

protected:
    TranscodeCounters() = default;
    virtual ~TranscodeCounters() = default;

    void ResetCounters() {
        video_taken = 0;
        video_limited = 0;
        video_dropped = 0;
        video_written = 0;
    }

    std::atomic<std::uint64_t> video_taken{0};
    std::atomic<std::uint64_t> video_limited{0};
    std::atomic<std::uint64_t> video_dropped{0};
    std::atomic<std::uint64_t> video_written{0};
};

}  // namespace Vimbrel

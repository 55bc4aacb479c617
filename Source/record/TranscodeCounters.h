// What a recorder counts, beside its operations: a second base, since MediaTranscode's slots are
// fixed.
#pragma once

#include <atomic>

#include "vimbrel/MediaTranscode.h"

namespace Vimbrel {

class TranscodeCounters {
public:
    TranscodeStatistics Read() const {
        return {video_taken, video_limited, video_dropped, video_written,
                audio_taken, audio_dropped, audio_written};
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
    }

    std::atomic<std::uint64_t> video_taken{0};
    std::atomic<std::uint64_t> video_limited{0};
    std::atomic<std::uint64_t> video_dropped{0};
    std::atomic<std::uint64_t> video_written{0};
    std::atomic<std::uint64_t> audio_taken{0};
    std::atomic<std::uint64_t> audio_dropped{0};
    std::atomic<std::uint64_t> audio_written{0};
};

}  // namespace Vimbrel

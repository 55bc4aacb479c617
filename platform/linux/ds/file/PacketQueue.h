// The packets between the demuxing thread and the streaming threads of a splitter.
#pragma once

#include <deque>
#include <vector>

#include "base/ThreadSafety.h"
#include "platform/linux/ffmpeg/FfmpegHandles.h"

namespace Vimbrel {

// One lane per pin. A lane holds 64 packets of 64 MiB together; more, up to 2,000 and 512 MiB,
// while another one is empty, because badly interleaved files would hang otherwise.
class PacketQueue {
public:
    enum class Result { packet, end, aborted };

    // Empty lanes for a new run. A sparse lane, as of subtitles, does not count as empty.
    void Reset(const std::vector<bool>& sparse);
    // Frees all threads, which find nothing any more.
    void Abort();

    // By the demuxing thread. Waits for room; false after Abort.
    bool Push(std::size_t lane, FfmpegPtr<AVPacket> packet);
    // Waits until the receiver has done with all packets of the lane. False after Abort.
    bool WaitUntilTaken(std::size_t lane);
    // Nothing more comes, in any lane.
    void End();

    // By a streaming thread. Waits for a packet or the end.
    Result Pop(std::size_t lane, FfmpegPtr<AVPacket>& packet);
    // The lane takes and drops what comes from now on.
    void Close(std::size_t lane);

private:
    struct Lane {
        std::deque<FfmpegPtr<AVPacket>> packets;
        std::int64_t bytes = 0;  // of the packets
        bool sparse = false;
        bool closed = false;
        bool idle = false;  // its thread waits for a packet
    };

    bool HasRoom(std::size_t lane) const REQUIRES(lock_);

    Mutex lock_;
    Condition changed_;
    std::deque<Lane> lanes_ GUARDED_BY(lock_);
    bool ended_ GUARDED_BY(lock_) = false;
    bool aborted_ GUARDED_BY(lock_) = false;
};

}  // namespace Vimbrel

// Brings subtitles to their pin in time.
#pragma once

#include <utility>
#include <vector>

#include "platform/linux/ds/file/PacketQueue.h"
#include "platform/linux/ds/file/SubtitleFile.h"

namespace Vimbrel {

// A line may be shown long after its packet was read, and a seek goes past it. So a run begins with
// the lines of the ten seconds before its start. Of the demuxing thread.
class SubtitleFeed {
public:
    struct Target {
        std::size_t lane = 0;
        int stream = -1;                     // in the demuxer's list
        const SubtitleFile* file = nullptr;  // in place of the stream
        // The receiver never waits: what comes after a line may wait until it has the line.
        bool quick = false;
    };

    SubtitleFeed(Demuxer& demuxer, PacketQueue& queue) : demuxer_(&demuxer), queue_(&queue) {}
    void SetTarget(const Target& target) { target_ = target; }

    // Before the demuxer seeks to `start`. `reference` is a stream whose packets come often. False
    // if the queue was aborted.
    bool Begin(LONGLONG start, int reference);
    // For every packet that is read; moves `packet` out if it is one of subtitles. False if the
    // queue was aborted.
    bool Take(FfmpegPtr<AVPacket>& packet);

private:
    bool PushFile(LONGLONG start);
    bool PushEarlier(LONGLONG start, int reference);
    bool Push(FfmpegPtr<AVPacket> packet);
    bool Await() { return !target_.quick || queue_->WaitUntilTaken(target_.lane); }

    Demuxer* demuxer_;
    PacketQueue* queue_;
    Target target_;
    std::vector<std::pair<std::int64_t, std::int64_t>>
        early_;  // time and place, of what was pushed
};

}  // namespace Vimbrel

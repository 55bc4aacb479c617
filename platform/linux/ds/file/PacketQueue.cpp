#include "platform/linux/ds/file/PacketQueue.h"

namespace Vimbrel {

namespace {

constexpr std::size_t usual_packets = 64;
constexpr std::size_t most_packets = 2000;
constexpr std::int64_t usual_bytes = std::int64_t{64} << 20;
constexpr std::int64_t most_bytes = std::int64_t{512} << 20;

}  // namespace

void PacketQueue::Reset(const std::vector<bool>& sparse) {
    const MutexLock guard(lock_);
    lanes_.clear();
    lanes_.resize(sparse.size());
    for (std::size_t i = 0; i < sparse.size(); ++i) lanes_[i].sparse = sparse[i];
    ended_ = aborted_ = false;
}

void PacketQueue::Abort() {
    const MutexLock guard(lock_);
    aborted_ = true;
    changed_.NotifyAll();
}

bool PacketQueue::HasRoom(std::size_t lane) const {
    const std::size_t waiting = lanes_[lane].packets.size();
    const std::int64_t bytes = lanes_[lane].bytes;
    if (lanes_[lane].closed || (waiting < usual_packets && bytes < usual_bytes)) return true;
    if (waiting >= most_packets || bytes >= most_bytes) return false;
    for (const Lane& each : lanes_) {
        if (!each.sparse && !each.closed && each.packets.empty()) return true;
    }
    return false;
}

bool PacketQueue::Push(std::size_t lane, FfmpegPtr<AVPacket> packet) {
    MutexLock guard(lock_);
    while (!aborted_ && !HasRoom(lane)) changed_.Wait(guard);
    if (aborted_) return false;
    Lane& target = lanes_[lane];
    if (!target.closed) {
        target.bytes += packet->size;
        target.packets.push_back(std::move(packet));
    }
    changed_.NotifyAll();
    return true;
}

bool PacketQueue::WaitUntilTaken(std::size_t lane) {
    MutexLock guard(lock_);
    const Lane& target = lanes_[lane];
    while (!aborted_ && !target.closed && !(target.packets.empty() && target.idle))
        changed_.Wait(guard);
    return !aborted_;
}

void PacketQueue::End() {
    const MutexLock guard(lock_);
    ended_ = true;
    changed_.NotifyAll();
}

PacketQueue::Result PacketQueue::Pop(std::size_t lane, FfmpegPtr<AVPacket>& packet) {
    MutexLock guard(lock_);
    std::deque<FfmpegPtr<AVPacket>>& packets = lanes_[lane].packets;
    while (!aborted_ && !ended_ && packets.empty()) {
        if (!lanes_[lane].idle) changed_.NotifyAll();
        lanes_[lane].idle = true;
        changed_.Wait(guard);
    }
    lanes_[lane].idle = false;
    if (aborted_) return Result::aborted;
    if (packets.empty()) return Result::end;
    packet = std::move(packets.front());
    packets.pop_front();
    lanes_[lane].bytes -= packet->size;
    changed_.NotifyAll();
    return Result::packet;
}

void PacketQueue::Close(std::size_t lane) {
    const MutexLock guard(lock_);
    lanes_[lane].closed = true;
    lanes_[lane].packets.clear();
    lanes_[lane].bytes = 0;
    changed_.NotifyAll();
}

}  // namespace Vimbrel

#include "platform/linux/pulse/CaptureQueue.h"

#include <cstring>

namespace Vimbrel {

CaptureQueue::CaptureQueue(std::uint32_t bytes_per_frame, std::uint32_t most_frames,
                           std::size_t most_packets)
    : frame_bytes_(bytes_per_frame),
      capacity_(std::size_t{bytes_per_frame} * most_frames),
      bytes_(std::make_unique_for_overwrite<unsigned char[]>(capacity_)),
      packets_(most_packets + 1) {}

unsigned char* CaptureQueue::FindRoom(std::size_t bytes) {
    if (count_ + 1 >= packets_.size()) return nullptr;
    if (used_ == 0) {
        // The same bytes again are in the cache.
        read_ = 0;
        write_ = 0;
    }
    const bool wrapped = used_ > 0 && write_ <= read_;
    if (wrapped) return bytes <= read_ - write_ ? bytes_.get() + write_ : nullptr;
    if (bytes <= capacity_ - write_) return bytes_.get() + write_;
    if (bytes > read_) return nullptr;
    write_ = 0;
    return bytes_.get();
}

void CaptureQueue::PushHole(std::uint32_t frames) {
    if (count_ > 0 && !Last().data) {
        Last().frames += frames;
        return;
    }
    ++count_;
    Last() = {nullptr, frames};
}

bool CaptureQueue::Push(const void* data, std::uint32_t frames) {
    if (frames == 0) return true;
    frames_ += frames;
    const std::size_t bytes = std::size_t{frames} * frame_bytes_;
    unsigned char* const place = data ? FindRoom(bytes) : nullptr;
    if (!place) {
        PushHole(frames);
        return !data;
    }
    std::memcpy(place, data, bytes);
    write_ += bytes;
    ++used_;
    ++count_;
    Last() = {place, frames};
    return true;
}

void CaptureQueue::Pop() {
    if (count_ == 0) return;
    const Packet& packet = packets_[first_];
    frames_ -= packet.frames;
    if (packet.data) {
        --used_;
        read_ = static_cast<std::size_t>(packet.data - bytes_.get()) +
                std::size_t{packet.frames} * frame_bytes_;
    }
    first_ = (first_ + 1) % packets_.size();
    --count_;
}

void CaptureQueue::Clear() {
    while (count_ > 0) Pop();
}

}  // namespace Vimbrel

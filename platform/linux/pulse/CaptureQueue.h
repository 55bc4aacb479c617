// Recorded packets between the loop of the sound server's connection and their reader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace Vimbrel {

// Allocates nothing after its construction. The memory of a packet stays as it is from Front to
// Pop, whatever is pushed. Not locked.
class CaptureQueue {
public:
    struct Packet {
        const unsigned char* data;  // null: so many frames are missing in the recording
        std::uint32_t frames;
    };

    CaptureQueue(std::uint32_t bytes_per_frame, std::uint32_t most_frames,
                 std::size_t most_packets);

    // Copies `data`; null is a hole. False for a packet that finds no room: it leaves a hole.
    bool Push(const void* data, std::uint32_t frames);
    // Null if there is none.
    const Packet* Front() const { return count_ > 0 ? &packets_[first_] : nullptr; }
    void Pop();
    void Clear();

    // Those that were recorded and those that are missing.
    std::uint64_t Frames() const { return frames_; }

private:
    // Null without room. Whole packets only, so that a reader gets each in one piece.
    unsigned char* FindRoom(std::size_t bytes);
    // Neighbouring holes are one.
    void PushHole(std::uint32_t frames);
    Packet& Last() { return packets_[(first_ + count_ - 1) % packets_.size()]; }

    const std::uint32_t frame_bytes_;
    const std::size_t capacity_;
    std::unique_ptr<unsigned char[]> bytes_;
    std::size_t read_ = 0;   // the first byte in use
    std::size_t write_ = 0;  // where the next packet goes
    std::size_t used_ = 0;   // packets with sound
    // One more than sound may fill, for the hole after it.
    std::vector<Packet> packets_;
    std::size_t first_ = 0;
    std::size_t count_ = 0;
    std::uint64_t frames_ = 0;
};

}  // namespace Vimbrel

// Frames for the live H.264 encoder, and what it makes of them.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "rtmpencoder/live_encoder_h264.h"

namespace Vimbrel::test {

class FrameCollector final : public live_encoder::dispatcher {
public:
    void dispatch(encoded_frame_ptr& frame) override {
        const std::lock_guard guard(lock);
        frames.push_back(std::move(frame));
        changed.notify_all();
    }
    bool WaitFor(std::size_t count) {
        std::unique_lock guard(lock);
        return changed.wait_for(guard, std::chrono::seconds(20),
                                [&] { return frames.size() >= count; });
    }

    std::mutex lock;
    std::condition_variable changed;
    std::vector<encoded_frame_ptr> frames;
};

inline void PostFrame(live_encoder_h264& encoder, std::uint32_t width, std::uint32_t height,
                      int number, std::int64_t first_time = 5'000'000) {
    auto frame = std::make_unique<live_encoder_h264::packet_video>();
    frame->width = width;
    frame->height = height;
    frame->time = first_time + number * 333'333LL;
    frame->data = std::make_unique<std::uint8_t[]>(std::size_t{4} * width * height);
    for (std::size_t i = 0; i < std::size_t{4} * width * height; ++i) {
        frame->data[i] = static_cast<std::uint8_t>(
            i / 4 % width * 2 + static_cast<std::size_t>(number) * 5 + i % 4 * 40);
    }
    std::unique_ptr<live_encoder::packet> packet = std::move(frame);
    encoder.post(packet);
}

}  // namespace Vimbrel::test

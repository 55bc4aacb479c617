// Sound between the thread of a device and the clock of a scene.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

namespace studio {

// Sound that comes as it happens is read so much later than it came, so that packets may be late. A
// second has a whole number of such parts in every rate.
inline constexpr int live_lags_per_second = 12;

// Stereo frames of 16 bits. What is read runs `lead` frames behind what came, from the first
// reading on; clocks that differ are evened out by a gap or a cut now and then.
class SampleQueue {
public:
    // `limit` frames may wait; then the oldest are dropped down to `lead`.
    SampleQueue(std::size_t lead_frames, std::size_t limit_frames)
        : lead(lead_frames), limit(limit_frames) {}

    void Push(const std::int16_t* stereo, std::size_t frames);
    void PushSilence(std::size_t frames);
    // As a dispatcher of sound gets them: whole frames.
    void PushBytes(const unsigned char* data, int size);
    // Silence in place of what has not come yet.
    void Read(float* stereo, std::size_t frames);

private:
    void Limit();

    const std::size_t lead;
    const std::size_t limit;
    std::mutex mutex;
    std::vector<std::int16_t> waiting;
    bool flows = false;  // the lead has been reached since the last gap
};

}  // namespace studio

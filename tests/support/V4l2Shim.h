// Capture devices for tests of the code that calls the kernel. Link the test program with
// -Wl,--wrap=open,--wrap=ioctl,--wrap=mmap,--wrap=poll.
#pragma once

#include <linux/videodev2.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Vimbrel::test {

struct ShimSize {
    std::uint32_t width, height;
    std::vector<v4l2_fract> rates;
};
struct ShimFormat {
    std::uint32_t pixel_format;
    std::vector<ShimSize> sizes;  // empty: the driver has no list
};

// A device that exists while the object does. Opened files outlive it as those of an unplugged one.
class ShimCamera {
public:
    ShimCamera(std::string path, std::vector<ShimFormat> formats);
    ~ShimCamera();
    ShimCamera(const ShimCamera&) = delete;
    ShimCamera& operator=(const ShimCamera&) = delete;

    // The next queued buffer holds these bytes. False if none is queued, or nothing streams.
    bool Deliver(const std::vector<std::uint8_t>& bytes, std::int64_t microseconds,
                 std::uint32_t flags = V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC);
    void Unplug();
    bool IsStreaming();
    int OpenFiles();

    struct State;
    const std::shared_ptr<State> state;
};

struct ShimCamera::State {
    std::mutex lock;
    std::string path;
    std::string card = "Shim camera";
    std::string bus = "shim-0";
    std::uint32_t caps = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
    std::vector<ShimFormat> formats;
    std::uint32_t pixel_format = 0, width = 0, height = 0, bytes_per_line = 0, image_size = 0;
    v4l2_fract rate{1, 30};
    std::uint32_t padding = 0;  // of each row
    bool refuses = false;       // every new format
    bool adjusts = false;       // every new size, to the first of its pixels
    unsigned long fails = 0;    // the request that is answered with an error
    int opened = 0;             // so many times
    bool unplugged = false;
    bool silent = false;     // it has no picture, and waits for one are over at once
    int interrupts = 0;      // waits of a silent device that a signal ends, each after a moment
    std::vector<int> waits;  // milliseconds, of those for a silent device
    bool streaming = false;
    std::atomic<int> file{-1};  // the last one, the test's end of which is `peer`
    int peer = -1;
    std::uint32_t sequence = 0;
    std::vector<std::vector<std::uint8_t>> buffers;
    std::vector<std::uint32_t> queued;
    std::vector<v4l2_buffer> ready;
};

// Of the driver: the step and size of the pictures that are set, with the lock held, and what it
// does at a call.
void FitShim(ShimCamera::State& state);
int AnswerShim(ShimCamera::State& state, unsigned long request, void* argument);

}  // namespace Vimbrel::test

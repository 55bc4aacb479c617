// A camera of the shim that is never quiet.
#pragma once

#include <atomic>
#include <mutex>
#include <random>
#include <thread>

#include "tests/platform/linux/ds/CameraKit.h"

namespace Vimbrel::test {

// A camera that delivers all the time, good pictures and bad ones, and that anybody may unplug.
class BusyDevice {
public:
    BusyDevice(std::string node, unsigned seed) : path(std::move(node)) {
        Plug();
        feeder = std::thread([this, seed] { Feed(seed); });
    }
    ~BusyDevice() {
        done = true;
        feeder.join();
    }
    BusyDevice(const BusyDevice&) = delete;
    BusyDevice& operator=(const BusyDevice&) = delete;

    void Unplug() {
        const std::lock_guard guard(lock);
        device->Unplug();
    }
    void Plug() {
        const std::lock_guard guard(lock);
        device.reset();
        device = std::make_unique<ShimCamera>(
            path, std::vector<ShimFormat>{
                      {V4L2_PIX_FMT_YUYV, {{320, 240, {fps30}}, {352, 288, {fps60, fps30}}}},
                      {V4L2_PIX_FMT_BGR24, {{320, 240, {fps30}}}}});
    }
    // Nobody but the test unplugs it from now on.
    void Calm() { vanishes = false; }

private:
    void Feed(unsigned seed) {
        std::mt19937 random(seed);
        const Bytes whole(352 * 288 * 3, 128);
        const Bytes brief(1000, 9);
        while (!done) {
            {
                const std::lock_guard guard(lock);
                const unsigned kind = random() % 8;
                device->Deliver(
                    kind == 0 ? brief : whole, Microseconds(),
                    V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC | (kind == 1 ? V4L2_BUF_FLAG_ERROR : 0u));
                if (random() % 400 == 0 && vanishes) device->Unplug();
            }
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }

    const std::string path;
    std::mutex lock;
    std::unique_ptr<ShimCamera> device;
    std::atomic<bool> done{false};
    std::atomic<bool> vanishes{true};
    std::thread feeder;
};

// Gives the streaming threads their time; how much comes meanwhile is left to chance.
inline void Linger(const std::atomic<int>& pictures) {
    const int before = pictures;
    WaitUntil([&] { return pictures > before; }, std::chrono::milliseconds(4),
              std::chrono::milliseconds(1));
}

}  // namespace Vimbrel::test

// A lock for sections of a few instructions.
#pragma once

#include <atomic>
#include <chrono>
#include <thread>

namespace HalvorixAppLog {

// Costs half of a mutex where nobody else wants it: leaving is a plain store. A thread that has to
// wait gives its time slice away, and after a while sleeps, since the holder may be of lower
// priority.
class SpinLock {
public:
    void Enter() {
        if (taken.exchange(true, std::memory_order_acquire)) Wait();
    }
    void Leave() { taken.store(false, std::memory_order_release); }

private:
    void Wait() {
        constexpr int patience = 100;
        int tries = 0;
        do {
            if (++tries < patience) {
                std::this_thread::yield();
            } else {
                std::this_thread::sleep_for(std::chrono::microseconds(50));
            }
        } while (taken.load(std::memory_order_relaxed) ||
                 taken.exchange(true, std::memory_order_acquire));
    }

    std::atomic<bool> taken{false};
};

}  // namespace HalvorixAppLog

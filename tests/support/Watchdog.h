// Ends the program, with a word of why, when a test does not end.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace Vimbrel::test {

class Watchdog {
public:
    explicit Watchdog(const char* what, std::chrono::seconds patience = std::chrono::seconds(90))
        : thread([this, what, patience] {
              std::unique_lock guard(lock);
              if (called_off.wait_for(guard, patience, [this] { return done; })) return;
              std::fprintf(stderr, "%s: hangs\n", what);
              std::fflush(stderr);
              std::abort();
          }) {}
    ~Watchdog() {
        {
            const std::lock_guard guard(lock);
            done = true;
        }
        called_off.notify_one();
        thread.join();
    }
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

private:
    std::mutex lock;
    std::condition_variable called_off;
    bool done = false;
    std::thread thread;
};

}  // namespace Vimbrel::test

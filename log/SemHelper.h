// A semaphore that counts from 0 to 64.
#pragma once

#include <chrono>
#include <memory>
#include <semaphore>

namespace HalvorixAppLog {

class SemHelper {
public:
    virtual ~SemHelper() = default;

    // A fresh count of 0. Not while another thread waits or posts.
    void Create() { handle = std::make_unique<std::counting_semaphore<64>>(0); }
    // False when the time has run out.
    bool Wait(std::chrono::milliseconds timeout) { return handle->try_acquire_for(timeout); }
    void Post() { handle->release(); }

private:
    std::unique_ptr<std::counting_semaphore<64>> handle;
};

}  // namespace HalvorixAppLog

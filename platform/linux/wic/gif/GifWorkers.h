// Threads that prepare frames.
#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/linux/wic/gif/GifImageJob.h"

namespace Vimbrel {

// One thread a core, at most 4, started with the first job. Its end waits for the jobs that were
// begun.
class GifWorkers {
public:
    GifWorkers();
    ~GifWorkers();
    GifWorkers(const GifWorkers&) = delete;
    GifWorkers& operator=(const GifWorkers&) = delete;

    std::size_t ThreadCount() const { return thread_count_; }

    // Prepares the job, here and now if no thread can be had.
    void Submit(std::shared_ptr<GifImageJob> job);
    bool IsDone(const GifImageJob& job) const;
    void WaitFor(const GifImageJob& job);

private:
    void Run();
    bool IsDoneLocked(const GifImageJob& job) const;

    const std::size_t thread_count_;
    mutable std::mutex lock_;
    std::condition_variable submitted_;
    std::condition_variable done_;
    std::deque<std::shared_ptr<GifImageJob>> waiting_;  // these are guarded by lock_
    std::vector<const GifImageJob*> running_;
    bool ending_ = false;
    std::vector<std::thread> threads_;
};

}  // namespace Vimbrel

// Threads that prepare frames.
#pragma once

#include <deque>
#include <memory>
#include <thread>
#include <vector>

#include "base/ThreadSafety.h"
#include "platform/linux/wic/gif/GifImageJob.h"

namespace Vimbrel {

// One thread per core, at most 4, started with the first job. The destructor waits for the jobs
// that were begun.
class GifWorkers {
public:
    GifWorkers();
    ~GifWorkers();
    GifWorkers(const GifWorkers&) = delete;
    GifWorkers& operator=(const GifWorkers&) = delete;

    std::size_t ThreadCount() const { return thread_count_; }

    // Prepares the job, on the calling thread if no other can be started.
    void Submit(std::shared_ptr<GifImageJob> job);
    bool IsDone(const GifImageJob& job) const;
    void WaitFor(const GifImageJob& job);

private:
    void Run();
    bool IsDoneLocked(const GifImageJob& job) const REQUIRES(lock_);

    const std::size_t thread_count_;
    mutable Mutex lock_;
    Condition submitted_;
    Condition done_;
    std::deque<std::shared_ptr<GifImageJob>> waiting_ GUARDED_BY(lock_);
    std::vector<const GifImageJob*> running_ GUARDED_BY(lock_);
    bool ending_ GUARDED_BY(lock_) = false;
    std::vector<std::thread> threads_;  // of the thread that submits
};

}  // namespace Vimbrel

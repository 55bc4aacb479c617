// Threads that run work items, as many as there are items that want to run.
//
// Items may block for as long as they like: those of a live source do, until the application gives
// them a frame. So a thread is added whenever an item would have to wait for one. The thread that
// went to wait last is the first to run again: its memory is the warmest, and those that are not
// needed any more find nothing to do. After a while of that they end.
#pragma once

#include <chrono>
#include <deque>
#include <list>
#include <memory>
#include <thread>
#include <vector>

#include "base/ThreadSafety.h"
#include "platform/linux/mf/queue/AsyncResult.h"

namespace Vimbrel {

class WorkQueue : public std::enable_shared_from_this<WorkQueue> {
public:
    // A recording keeps about ten of them blocked while it waits for a frame. With all of them
    // blocked, items wait until the application gives the next frame to one of its recordings.
    static constexpr std::size_t most_threads = 256;
    static constexpr std::chrono::milliseconds idle_time{5000};

    WorkQueue(std::size_t thread_limit, std::chrono::milliseconds idle);
    ~WorkQueue();
    WorkQueue(const WorkQueue&) = delete;
    WorkQueue& operator=(const WorkQueue&) = delete;

    // Begins in order of the calls. MF_E_SHUTDOWN after Close; E_OUTOFMEMORY if there is no thread
    // at all.
    HRESULT Put(ComPtr<AsyncResult> item);
    // Returns when all items are done and all threads have ended; from within an item at once, and
    // they end on their own.
    void Close();

    std::size_t ThreadCount() const;

private:
    using Threads = std::list<std::thread>;
    struct Waiting {
        Condition wake;
        bool awake = false;  // guarded by lock_, as `wake`; no longer in waiting_ then
    };

    void Run(Threads::iterator self);
    HRESULT AddThread() REQUIRES(lock_);
    // False if the time passed without an item or the end.
    bool WaitForItem(MutexLock& guard) REQUIRES(lock_);
    static void Wake(Waiting& waiting);

    const std::size_t thread_limit_;
    const std::chrono::milliseconds idle_time_;
    mutable Mutex lock_;
    std::deque<ComPtr<AsyncResult>> items_ GUARDED_BY(lock_);
    Threads threads_ GUARDED_BY(lock_);
    Threads ended_ GUARDED_BY(lock_);                  // or about to
    std::vector<Waiting*> waiting_ GUARDED_BY(lock_);  // threads; room for all of them
    bool closed_ GUARDED_BY(lock_) = false;
};

}  // namespace Vimbrel

#include "platform/linux/mf/queue/WorkQueue.h"

#include <mferror.h>

#include <system_error>

namespace Vimbrel {

namespace {

// The queue whose item this thread runs.
thread_local const WorkQueue* running_queue = nullptr;

}  // namespace

WorkQueue::~WorkQueue() {
    // Each thread holds a reference, so what is left are those that ended, and perhaps the one that
    // runs this.
    for (std::thread& thread : ended_) {
        if (thread.get_id() == std::this_thread::get_id()) {
            thread.detach();
        } else {
            thread.join();
        }
    }
}

HRESULT WorkQueue::Put(ComPtr<AsyncResult> item) {
    Threads ended;
    HRESULT hr = S_OK;
    {
        const std::lock_guard guard(lock_);
        if (closed_) return MF_E_SHUTDOWN;
        items_.push_back(std::move(item));
        // Each thread that waits is going to take one of the items.
        if (items_.size() > idle_ && threads_.size() < thread_limit_) {
            hr = AddThread();
            if (FAILED(hr) && !threads_.empty()) hr = S_OK;  // one of the others will come to it
            if (FAILED(hr)) {
                item = std::move(items_.back());
                items_.pop_back();
            }
            ended.swap(ended_);
        }
    }
    wake_.notify_one();
    for (std::thread& thread : ended) thread.join();
    return hr;
}

HRESULT WorkQueue::AddThread() {
    const auto self = threads_.emplace(threads_.end());
    try {
        *self = std::thread([queue = shared_from_this(), self] { queue->Run(self); });
    } catch (const std::system_error&) {
        threads_.erase(self);
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

void WorkQueue::Run(Threads::iterator self) {
    running_queue = this;
    std::unique_lock guard(lock_);
    for (;;) {
        if (!items_.empty()) {
            ComPtr<AsyncResult> item = std::move(items_.front());
            items_.pop_front();
            guard.unlock();
            item->InvokeCallback();
            item.Reset();  // may be the end of whatever the callback holds
            guard.lock();
            continue;
        }
        if (closed_) return;
        ++idle_;
        const bool woken =
            wake_.wait_for(guard, idle_time_, [this] { return closed_ || !items_.empty(); });
        --idle_;
        if (!woken) {
            ended_.splice(ended_.end(), threads_, self);
            return;
        }
    }
}

void WorkQueue::Close() {
    Threads threads;
    {
        const std::lock_guard guard(lock_);
        if (closed_) return;
        closed_ = true;
        threads.swap(threads_);
        threads.splice(threads.end(), ended_);
    }
    wake_.notify_all();
    for (std::thread& thread : threads) {
        if (running_queue == this) {
            thread.detach();
        } else {
            thread.join();
        }
    }
}

std::size_t WorkQueue::ThreadCount() const {
    const std::lock_guard guard(lock_);
    return threads_.size();
}

}  // namespace Vimbrel

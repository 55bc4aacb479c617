#include "platform/linux/mf/queue/WorkQueue.h"

#include <mferror.h>

#include <exception>

#include <new>

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

HRESULT WorkQueue::Put(ComPtr<AsyncResult> item) try {
    Threads ended;
    HRESULT hr = S_OK;
    {
        const MutexLock guard(lock_);
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
    wake_.NotifyOne();
    for (std::thread& thread : ended) thread.join();
    return hr;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT WorkQueue::AddThread() {
    Threads added;
    try {
        added.emplace_back();
        const auto self = added.begin();
        *self = std::thread([queue = shared_from_this(), self] { queue->Run(self); });
    } catch (const std::exception&) {
        return E_OUTOFMEMORY;
    }
    threads_.splice(threads_.end(), added);
    return S_OK;
}

void WorkQueue::Run(Threads::iterator self) {
    running_queue = this;
    MutexLock guard(lock_);
    for (;;) {
        if (!items_.empty()) {
            ComPtr<AsyncResult> item = std::move(items_.front());
            items_.pop_front();
            guard.Unlock();
            item->InvokeCallback();
            item.Reset();  // may be the end of whatever the callback holds
            guard.Lock();
            continue;
        }
        if (closed_) return;
        const auto until = std::chrono::steady_clock::now() + idle_time_;
        ++idle_;
        bool in_time = true;
        while (in_time && !closed_ && items_.empty()) in_time = wake_.WaitUntil(guard, until);
        --idle_;
        if (!closed_ && items_.empty()) {
            ended_.splice(ended_.end(), threads_, self);
            return;
        }
    }
}

void WorkQueue::Close() {
    Threads threads;
    {
        const MutexLock guard(lock_);
        if (closed_) return;
        closed_ = true;
        threads.swap(threads_);
        threads.splice(threads.end(), ended_);
    }
    wake_.NotifyAll();
    for (std::thread& thread : threads) {
        if (running_queue == this) {
            thread.detach();
        } else {
            thread.join();
        }
    }
}

std::size_t WorkQueue::ThreadCount() const {
    const MutexLock guard(lock_);
    return threads_.size();
}

}  // namespace Vimbrel

#include "platform/linux/mf/queue/WorkQueue.h"

#include <mferror.h>

#include <exception>

#include <new>

namespace Vimbrel {

namespace {

// The queue whose item this thread runs.
thread_local const WorkQueue* running_queue = nullptr;

}  // namespace

WorkQueue::WorkQueue(std::size_t thread_limit, std::chrono::milliseconds idle)
    : thread_limit_(thread_limit), idle_time_(idle) {
    waiting_.reserve(thread_limit);
}

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
        if (!waiting_.empty()) {
            Wake(*waiting_.back());
            waiting_.pop_back();
        } else if (threads_.size() < thread_limit_) {
            hr = AddThread();
            if (FAILED(hr) && !threads_.empty()) hr = S_OK;  // one of the others will come to it
            if (FAILED(hr)) {
                item = std::move(items_.back());
                items_.pop_back();
            }
            ended.swap(ended_);
        }
    }
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
        if (!WaitForItem(guard) && items_.empty()) {
            ended_.splice(ended_.end(), threads_, self);
            return;
        }
    }
}

bool WorkQueue::WaitForItem(MutexLock& guard) {
    const auto until = std::chrono::steady_clock::now() + idle_time_;
    Waiting self;
    waiting_.push_back(&self);
    bool in_time = true;
    while (in_time && !self.awake) in_time = self.wake.WaitUntil(guard, until);
    if (!self.awake) std::erase(waiting_, &self);
    return self.awake;
}

void WorkQueue::Wake(Waiting& waiting) {
    waiting.awake = true;
    waiting.wake.NotifyOne();
}

void WorkQueue::Close() {
    Threads threads;
    {
        const MutexLock guard(lock_);
        if (closed_) return;
        closed_ = true;
        threads.swap(threads_);
        threads.splice(threads.end(), ended_);
        for (Waiting* const waiting : waiting_) Wake(*waiting);
        waiting_.clear();
    }
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

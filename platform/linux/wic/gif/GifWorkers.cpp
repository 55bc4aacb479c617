#include "platform/linux/wic/gif/GifWorkers.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace Vimbrel {

namespace {

constexpr std::size_t thread_limit = 4;

}  // namespace

GifWorkers::GifWorkers()
    : thread_count_(std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, thread_limit)) {
}

GifWorkers::~GifWorkers() {
    {
        const MutexLock guard(lock_);
        ending_ = true;
        submitted_.NotifyAll();
    }
    for (std::thread& thread : threads_) thread.join();
}

void GifWorkers::Submit(std::shared_ptr<GifImageJob> job) {
    try {
        if (threads_.empty()) {
            threads_.reserve(thread_count_);
            const MutexLock guard(lock_);
            running_.reserve(thread_count_);  // so that no thread needs memory of its own
        }
        while (threads_.size() < thread_count_) threads_.emplace_back(&GifWorkers::Run, this);
    } catch (const std::system_error&) {
        if (threads_.empty()) {
            job->Prepare();
            return;
        }
    }
    const MutexLock guard(lock_);
    waiting_.push_back(std::move(job));
    submitted_.NotifyOne();
}

bool GifWorkers::IsDone(const GifImageJob& job) const {
    const MutexLock guard(lock_);
    return IsDoneLocked(job);
}

void GifWorkers::WaitFor(const GifImageJob& job) {
    MutexLock guard(lock_);
    while (!IsDoneLocked(job)) done_.Wait(guard);
}

bool GifWorkers::IsDoneLocked(const GifImageJob& job) const {
    if (std::find(running_.begin(), running_.end(), &job) != running_.end()) return false;
    return std::none_of(waiting_.begin(), waiting_.end(),
                        [&job](const auto& each) { return each.get() == &job; });
}

void GifWorkers::Run() {
    MutexLock guard(lock_);
    for (;;) {
        while (!ending_ && waiting_.empty()) submitted_.Wait(guard);
        if (ending_) return;
        const std::shared_ptr<GifImageJob> job = std::move(waiting_.front());
        waiting_.pop_front();
        running_.push_back(job.get());
        guard.Unlock();
        job->Prepare();
        guard.Lock();
        std::erase(running_, job.get());
        done_.NotifyAll();
    }
}

}  // namespace Vimbrel

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
        const std::lock_guard guard(lock_);
        ending_ = true;
        submitted_.notify_all();
    }
    for (std::thread& thread : threads_) thread.join();
}

void GifWorkers::Submit(std::shared_ptr<GifImageJob> job) {
    try {
        if (threads_.empty()) threads_.reserve(thread_count_);
        while (threads_.size() < thread_count_) threads_.emplace_back(&GifWorkers::Run, this);
    } catch (const std::system_error&) {
        if (threads_.empty()) {
            job->Prepare();
            return;
        }
    }
    const std::lock_guard guard(lock_);
    waiting_.push_back(std::move(job));
    submitted_.notify_one();
}

bool GifWorkers::IsDone(const GifImageJob& job) const {
    const std::lock_guard guard(lock_);
    return IsDoneLocked(job);
}

void GifWorkers::WaitFor(const GifImageJob& job) {
    std::unique_lock guard(lock_);
    done_.wait(guard, [&] { return IsDoneLocked(job); });
}

bool GifWorkers::IsDoneLocked(const GifImageJob& job) const {
    return std::find(running_.begin(), running_.end(), &job) == running_.end() &&
           std::none_of(waiting_.begin(), waiting_.end(),
                        [&](const auto& each) { return each.get() == &job; });
}

void GifWorkers::Run() {
    std::unique_lock guard(lock_);
    for (;;) {
        submitted_.wait(guard, [this] { return ending_ || !waiting_.empty(); });
        if (ending_) return;
        const std::shared_ptr<GifImageJob> job = std::move(waiting_.front());
        waiting_.pop_front();
        running_.push_back(job.get());
        guard.unlock();
        job->Prepare();
        guard.lock();
        std::erase(running_, job.get());
        done_.notify_all();
    }
}

}  // namespace Vimbrel

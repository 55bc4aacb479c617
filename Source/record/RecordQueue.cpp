#include "Source/record/RecordQueue.h"

#include <cstring>
#include <new>
#include <utility>

namespace Vimbrel {

namespace {

// Null without memory for it.
std::unique_ptr<sample_record> Copy(bool video, const void* data, unsigned size, std::int64_t time,
                                    std::int64_t duration) noexcept {
    std::unique_ptr<sample_record> record(new (std::nothrow) sample_record);
    if (!record || !data) return nullptr;
    record->data.reset(new (std::nothrow) unsigned char[size]);
    if (!record->data) return nullptr;
    std::memcpy(record->data.get(), data, size);
    record->video = video ? 1 : 0;
    record->size = size;
    record->time = time;
    record->duration = duration;
    return record;
}

}  // namespace

void RecordQueue::SetCounters(bool video, const BlockCounters& of_medium) {
    const MutexLock lock(mutex);
    counters[video ? 1 : 0] = of_medium;
}

void RecordQueue::Push(bool video, const void* data, unsigned size, std::int64_t time,
                       std::int64_t duration) noexcept {
    if (size == 0) {
        const MutexLock lock(mutex);
        // Kept: the end overtakes what waits, because a recorder that stops does not work on.
        DropBlocks();
        ended = true;
        end_waits = true;
        return record_ready.NotifyAll();
    }
    std::unique_ptr<sample_record> record = Copy(video, data, size, time, duration);
    const MutexLock lock(mutex);
    if (ended) return;
    const BlockCounters& of_medium = counters[video ? 1 : 0];
    Add(of_medium.taken);
    const bool lost = abandoned || (of_medium.failed && *of_medium.failed);
    if (!record || lost) return Add(of_medium.dropped);
    try {
        pending.push_back(std::move(record));
    } catch (const std::bad_alloc&) {
        return Add(of_medium.dropped);
    }
    record_ready.NotifyAll();
}

void RecordQueue::Wait() {
    MutexLock lock(mutex);
    while (pending.empty() && !ended) record_ready.Wait(lock);
}

std::unique_ptr<sample_record> RecordQueue::Take() {
    MutexLock lock(mutex);
    while (pending.empty() && !end_waits) record_ready.Wait(lock);
    if (pending.empty()) {
        end_waits = false;
        return nullptr;
    }
    auto record = std::move(pending.front());
    pending.pop_front();
    return record;
}

void RecordQueue::CountDelivered(const sample_record& record, bool delivered) {
    const MutexLock lock(mutex);
    Count(record, delivered);
}

void RecordQueue::Abandon() {
    const MutexLock lock(mutex);
    abandoned = true;
    DropBlocks();
}

void RecordQueue::Drop() {
    const MutexLock lock(mutex);
    DropBlocks();
}

void RecordQueue::Close() {
    const MutexLock lock(mutex);
    DropBlocks();
    ended = true;
    end_waits = false;
    counters[0] = {};
    counters[1] = {};
    record_ready.NotifyAll();
}

void RecordQueue::Count(const sample_record& record, bool delivered) {
    const BlockCounters& of_medium = counters[record.video];
    if (of_medium.failed && *of_medium.failed) delivered = false;
    Add(delivered ? of_medium.delivered : of_medium.dropped);
}

void RecordQueue::DropBlocks() {
    for (const auto& record : pending) Count(*record, false);
    pending.clear();
}

}  // namespace Vimbrel

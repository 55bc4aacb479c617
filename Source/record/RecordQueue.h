// The blocks that a recorder has taken and the pipeline has not yet asked for.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>

#include "Source/record/sample_record.h"
#include "base/ThreadSafety.h"

namespace Vimbrel {

// Where the blocks of a medium are counted; any may be null. `taken` counts first, so that no
// reader sees more blocks leave than come.
struct BlockCounters {
    std::atomic<std::uint64_t>* taken = nullptr;
    std::atomic<std::uint64_t>* delivered = nullptr;  // have left the queue for their stream
    std::atomic<std::uint64_t>* dropped = nullptr;
    // Once set, what is delivered counts as dropped: nobody writes it any more.
    const std::atomic<bool>* failed = nullptr;
};

// Any thread. The length has no limit: callers are never held up, and bursts wait here.
class RecordQueue {
public:
    // Not owned; used until Close.
    void SetCounters(bool video, const BlockCounters& of_medium);

    // Copies `size` bytes. With size 0 it is the end: it drops what waits, and later blocks are
    // neither taken nor counted. Never waits and never throws; a block without memory is dropped.
    void Push(bool video, const void* data, unsigned size, std::int64_t time,
              std::int64_t duration) noexcept;
    // Returns when there is a block or the end, or when the end was.
    void Wait();
    // Waits for the next block. Null for the end, which comes once.
    std::unique_ptr<sample_record> Take();
    void CountDelivered(const sample_record& record, bool delivered);
    // Nobody takes blocks any more. Those that wait and those that still come are dropped.
    void Abandon();
    // Drops the blocks that wait. The end stays: a thread may wait for it, and nothing else wakes
    // that thread.
    void Drop();
    // Drops what waits and forgets the counters. Blocks that come later are not taken.
    void Close();

private:
    static void Add(std::atomic<std::uint64_t>* count) {
        if (count) ++*count;
    }
    void Count(const sample_record& record, bool delivered) REQUIRES(mutex);
    void DropBlocks() REQUIRES(mutex);

    Mutex mutex;
    Condition record_ready;
    std::deque<std::unique_ptr<sample_record>> pending GUARDED_BY(mutex);  // oldest first
    bool ended GUARDED_BY(mutex) = false;
    bool end_waits GUARDED_BY(mutex) = false;
    bool abandoned GUARDED_BY(mutex) = false;
    BlockCounters counters[2] GUARDED_BY(mutex);  // of sound and of picture
};

}  // namespace Vimbrel

// The buffer between one producer of sound and the clocked mixer: a growing ring that keeps its
// stream aligned to time stamps by inserting silence and dropping bytes. It never blocks the mixer.
#pragma once

#include <windows.h>

#include <mmreg.h>

#include <atomic>
#include <cstdint>
#include <memory>

#include "Audio/AudioFormat.h"
#include "Audio/AudioResampler.h"
#include "base/ThreadSafety.h"

namespace Vimbrel {

class CAudioChannel2 {
public:
    explicit CAudioChannel2(std::int32_t number);
    virtual ~CAudioChannel2();
    CAudioChannel2(const CAudioChannel2&) = delete;
    CAudioChannel2& operator=(const CAudioChannel2&) = delete;

    // Samples come in `input` and are kept in `output`. A pair that cannot be converted is logged;
    // the first write then makes the channel refuse all others. Before the producer starts.
    void Configure(const WAVEFORMATEX* output, const WAVEFORMATEX* input);

    // Lets the channel take part in the mix. After a pause it drops the bytes whose time is over.
    void Activate();

    // Takes a block on the producer's thread, with COM started. Times are in units of 100 ns.
    // `end` is what the next `start` is compared with: a gap of more than 1 ms and less than 5 s
    // becomes silence, a longer one is joined, and a jump back by more than 1 ms drops as many
    // buffered bytes. Only the times count if `data` is null or `size` below 1. Kept: sources pass
    // durations or positions as `end`, and the rule is applied to them as they are.
    void WriteSamples(unsigned char* data, int size, std::int64_t start, std::int64_t end);

    // False, with nothing taken, if fewer bytes are buffered.
    bool ReadRing(void* out, std::uint64_t size) REQUIRES(mutex);

    // Empties the ring; the next write counts as the first one.
    void Reset() EXCLUDES(mutex);

    const std::int32_t id;
    Mutex mutex;  // Taken after the mixer's.
    // The mixer tests these without the lock, and others switch them beside the producer.
    std::atomic<bool> enabled{false};
    std::atomic<bool> accepting{false};
    std::atomic<std::int32_t> volume{100};  // percent
    std::atomic<std::uint64_t> used{0};     // bytes; written under `mutex`

private:
    void Align(std::int64_t start);
    void WriteSilence(std::uint64_t size);
    void WriteRing(const unsigned char* data, std::uint64_t size) REQUIRES(mutex);
    void CopyOut(unsigned char* out, std::uint64_t size) const REQUIRES(mutex);
    std::uint64_t Advanced(std::uint64_t position, std::uint64_t size) const REQUIRES(mutex);
    void Grow(std::uint64_t needed) REQUIRES(mutex);
    void Drop(std::int64_t time) EXCLUDES(mutex);
    void Skip(std::uint64_t size) REQUIRES(mutex);
    void Clear() REQUIRES(mutex);

    // Of the producer's thread after Configure.
    WAVEFORMATEX output_format = engine_format;
    AudioResampler resampler;
    bool needs_resampling = false;

    std::uint64_t capacity GUARDED_BY(mutex) = 0x100000;
    std::unique_ptr<unsigned char[]> ring GUARDED_BY(mutex);
    std::uint64_t read_pos GUARDED_BY(mutex) = 0;
    std::uint64_t write_pos GUARDED_BY(mutex) = 0;
    // The fourth argument of the previous write; 0 before the first. Reset writes it beside the
    // producer.
    std::atomic<std::int64_t> next_time{0};
    // The clock's time minus the stream's, taken at the first write.
    std::atomic<std::int64_t> time_offset{0};
};

}  // namespace Vimbrel

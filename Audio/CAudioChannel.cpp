#include "Audio/CAudioChannel.h"

#include <algorithm>
#include <cstring>

#include "Audio/AudioFormat.h"

namespace Vimbrel {

CAudioChannel::CAudioChannel()
    : ring(std::make_unique<unsigned char[]>(static_cast<std::size_t>(capacity))) {}

void CAudioChannel::Configure(const WAVEFORMATEX* output, const WAVEFORMATEX* input) {
    const MutexLock guard(resampling_mutex);
    accepting = true;
    needs_resampling = false;
    if (IsSameFormat(*input, *output)) return;
    needs_resampling = SUCCEEDED(resampler.Initialize(input, output));
    if (!needs_resampling) accepting = false;
}

void CAudioChannel::Start() {
    const MutexLock guard(mutex);
    accepting = true;
    closed = false;
    Clear();
}

void CAudioChannel::Close() {
    const MutexLock guard(mutex);
    closed = true;
    data_ready.NotifyAll();
}

void CAudioChannel::Shutdown() {
    {
        const MutexLock guard(mutex);
        accepting = false;
        data_ready.NotifyAll();
    }
    const MutexLock guard(resampling_mutex);
    resampler.Shutdown();
}

void CAudioChannel::PushSamples(unsigned char* data, int size) {
    if (!accepting.load(std::memory_order_relaxed) || !opened.load(std::memory_order_relaxed))
        return;
    if (!data || size < 1) return;
    const MutexLock conversion(resampling_mutex);
    if (!Resample(data, size)) return;
    const MutexLock guard(mutex);
    Write(data, size);
    data_ready.NotifyAll();
}

bool CAudioChannel::Convert(unsigned char*& data, int& size) {
    const MutexLock conversion(resampling_mutex);
    return !accepting.load(std::memory_order_relaxed) || Resample(data, size);
}

bool CAudioChannel::Resample(unsigned char*& data, int& size) {
    if (!needs_resampling) return true;
    if (FAILED(resampler.Feed(data, static_cast<unsigned>(size)))) return false;
    unsigned converted = 0;
    data = resampler.Fetch(&converted);
    size = static_cast<int>(converted);
    return converted > 0;
}

void CAudioChannel::Write(const unsigned char* data, int size) {
    if (size > capacity) {
        // Kept: what was buffered is lost, because the block is newer than all of it.
        capacity = 2 * size;
        ring = std::make_unique<unsigned char[]>(static_cast<std::size_t>(capacity));
        Clear();
    }
    if (const int excess = used + size - capacity; excess > 0) {
        used -= excess;
        read_pos = (read_pos + excess) % capacity;
    }
    const int first = std::min(size, capacity - write_pos);
    std::memcpy(ring.get() + write_pos, data, static_cast<std::size_t>(first));
    std::memcpy(ring.get(), data + first, static_cast<std::size_t>(size - first));
    used += size;
    write_pos = (write_pos + size) % capacity;
}

void CAudioChannel::Clear() {
    read_pos = 0;
    write_pos = 0;
    used = 0;
}

bool CAudioChannel::PopBlock(unsigned char* out, int* size) {
    const int wanted = *size;
    MutexLock guard(mutex);
    while (used == 0 && !closed) data_ready.Wait(guard);
    const bool enough = wanted <= used;
    if (enough) {
        const int first = std::min(wanted, capacity - read_pos);
        std::memcpy(out, ring.get() + read_pos, static_cast<std::size_t>(first));
        std::memcpy(out + first, ring.get(), static_cast<std::size_t>(wanted - first));
        used -= wanted;
        read_pos = (read_pos + wanted) % capacity;
    }
    if (closed || !accepting) *size = -1;
    return enough;
}

}  // namespace Vimbrel

#include "Audio/CAudioChannel2.h"

#include <algorithm>
#include <cstring>

#include "Audio/RelaxedOrder.h"
#include "base/Clock.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

// Units of 100 ns.
constexpr std::int64_t tolerance = 10'000;
constexpr std::int64_t longest_filled_gap = 50'000'000;

// Stamps are whatever their source counts: their difference may wrap.
std::int64_t Difference(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b));
}

void LogUnconvertible(const WAVEFORMATEX& input, const WAVEFORMATEX& output) {
    namespace log = HalvorixAppLog;
    log::IAppLogManager* const logger = log::GetAppLogger();
    if (!logger->PreCheck(log::LOGGER_MAIN, log::LOG_LEVEL_TRACE)) return;
    log::LogRecord* const record = logger->MakeRecord(log::LOGGER_MAIN, log::LOG_LEVEL_TRACE);
    log::LogCursor(*record) << "Failed to create Audio Resampler: " << int{input.nChannels} << ", "
                            << int{input.wBitsPerSample} << " bits, " << input.nSamplesPerSec
                            << " Hz -> " << int{output.nChannels} << ", "
                            << int{output.wBitsPerSample} << " bits, " << output.nSamplesPerSec
                            << " Hz";
    // Kept: log files are searched for this place.
    constexpr int line = 118;
    logger->Submit(record, "Audio\\AudioChannel2", line);
}

}  // namespace

CAudioChannel2::CAudioChannel2(std::int32_t number)
    : id(number), ring(std::make_unique_for_overwrite<unsigned char[]>(capacity)) {}

CAudioChannel2::~CAudioChannel2() { resampler.Shutdown(); }

void CAudioChannel2::Configure(const WAVEFORMATEX* output, const WAVEFORMATEX* input) {
    output_format = *output;
    needs_resampling = !IsSameFormat(*input, *output);
    if (needs_resampling && FAILED(resampler.Initialize(input, output)))
        LogUnconvertible(*input, *output);
}

void CAudioChannel2::Activate() {
    enabled.store(true, relaxed);
    accepting.store(true, relaxed);
    const std::int64_t offset = time_offset.load(relaxed);
    if (offset < 1) {
        const MutexLock guard(mutex);
        Clear();
        return;
    }
    const std::int64_t stream_now = Difference(Clock::Current().Now(), offset);
    const std::int64_t late = Difference(next_time.load(relaxed), stream_now);
    if (late > tolerance) Drop(late);
}

void CAudioChannel2::WriteSamples(unsigned char* data, int size, std::int64_t start,
                                  std::int64_t end) {
    if (!accepting.load(relaxed)) return;
    Align(start);
    if (data && size >= 1) {
        auto bytes = static_cast<unsigned>(size);
        if (needs_resampling) {
            if (FAILED(resampler.Feed(data, bytes))) {
                accepting.store(false, relaxed);
                return;
            }
            data = resampler.Fetch(&bytes);
        }
        if (bytes > 0) {
            const MutexLock guard(mutex);
            WriteRing(data, bytes);
        }
    }
    next_time.store(end, relaxed);
}

// Brings the end of the ring to `start`, and `next_time` with it.
void CAudioChannel2::Align(std::int64_t start) {
    const std::int64_t expected = next_time.load(relaxed);
    if (expected == 0) time_offset.store(Difference(Clock::Current().Now(), start), relaxed);
    const std::int64_t gap = Difference(start, expected);
    if (gap > tolerance && gap < longest_filled_gap) {
        WriteSilence(BytesOf(output_format, gap));
    } else if (const std::int64_t back = Difference(expected, start); back > tolerance) {
        Drop(back);
    }
    next_time.store(start, relaxed);
}

void CAudioChannel2::WriteSilence(std::uint64_t size) {
    const auto silence = std::make_unique<unsigned char[]>(size);
    const MutexLock guard(mutex);
    WriteRing(silence.get(), size);
}

void CAudioChannel2::WriteRing(const unsigned char* data, std::uint64_t size) {
    if (const std::uint64_t needed = used.load(relaxed) + size; needed > capacity) Grow(needed);
    const std::uint64_t first = std::min(size, capacity - write_pos);
    std::memcpy(ring.get() + write_pos, data, first);
    std::memcpy(ring.get(), data + first, size - first);
    write_pos = Advanced(write_pos, size);
    used.fetch_add(size, relaxed);
}

// A position that moved by at most the capacity.
std::uint64_t CAudioChannel2::Advanced(std::uint64_t position, std::uint64_t size) const {
    return position + size < capacity ? position + size : position + size - capacity;
}

void CAudioChannel2::Grow(std::uint64_t needed) {
    const std::uint64_t larger = std::max(2 * capacity, needed);
    auto replacement = std::make_unique_for_overwrite<unsigned char[]>(larger);
    const std::uint64_t kept = used.load(relaxed);
    CopyOut(replacement.get(), kept);
    ring.swap(replacement);
    capacity = larger;
    read_pos = 0;
    write_pos = kept;
}

bool CAudioChannel2::ReadRing(void* out, std::uint64_t size) {
    if (size > used.load(relaxed)) return false;
    CopyOut(static_cast<unsigned char*>(out), size);
    Skip(size);
    return true;
}

void CAudioChannel2::CopyOut(unsigned char* out, std::uint64_t size) const {
    const std::uint64_t first = std::min(size, capacity - read_pos);
    std::memcpy(out, ring.get() + read_pos, first);
    std::memcpy(out + first, ring.get(), size - first);
}

// Drops the bytes of `time`, or all if there are fewer.
void CAudioChannel2::Drop(std::int64_t time) {
    const MutexLock guard(mutex);
    Skip(std::min(used.load(relaxed), BytesOf(output_format, time)));
}

void CAudioChannel2::Skip(std::uint64_t size) {
    // An empty ring begins again at its first bytes, which are in the cache.
    if (size == used.load(relaxed)) return Clear();
    used.fetch_sub(size, relaxed);
    read_pos = Advanced(read_pos, size);
}

void CAudioChannel2::Reset() {
    next_time.store(0, relaxed);
    const MutexLock guard(mutex);
    Clear();
}

void CAudioChannel2::Clear() {
    used.store(0, relaxed);
    read_pos = 0;
    write_pos = 0;
}

}  // namespace Vimbrel

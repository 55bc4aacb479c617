// Bit rates on a clock of time stamps.
#pragma once

#include <atomic>
#include <cstdint>

namespace Vimbrel {

// Written by one thread; the rates may be read by any.
class BitRateMeter {
public:
    void Reset() {
        total_bytes = total_ms = window_bytes = 0;
        window_start = no_start;
        current_bit_rate = 0;
        average_bit_rate = 0;
    }

    // The first bytes only start the clock. A window ends with the first time that is more than a
    // second after its start.
    void Add(std::int64_t bytes, std::int64_t time_ms) {
        window_bytes += bytes;
        if (window_start == no_start) {
            window_start = time_ms;
            window_bytes = 0;
        }
        if (window_start + 1000 >= time_ms) return;
        const std::int64_t duration = time_ms - window_start;
        total_bytes += window_bytes;
        total_ms += duration;
        current_bit_rate = Rate(window_bytes, duration);
        average_bit_rate = Rate(total_bytes, total_ms);
        window_start = time_ms;
        window_bytes = 0;
    }

    std::int32_t Current() const { return current_bit_rate; }
    std::int32_t Average() const { return average_bit_rate; }

private:
    static constexpr std::int64_t no_start = -1;

    static std::int32_t Rate(std::int64_t bytes, std::int64_t ms) {
        return static_cast<std::int32_t>(static_cast<double>(bytes) * 8.0 /
                                         (static_cast<double>(ms) / 1000.0));
    }

    std::int64_t total_bytes = 0;
    std::int64_t total_ms = 0;
    std::int64_t window_bytes = 0;
    std::int64_t window_start = no_start;
    std::atomic<std::int32_t> current_bit_rate{0};
    std::atomic<std::int32_t> average_bit_rate{0};
};

}  // namespace Vimbrel

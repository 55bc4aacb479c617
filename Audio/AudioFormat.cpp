#include "Audio/AudioFormat.h"

#include <cstring>

namespace Vimbrel {

namespace {

// Hours of sound in units of 100 ns, times a rate, exceed 64 bits.
__extension__ using Product = unsigned __int128;

}  // namespace

bool IsSameFormat(const WAVEFORMATEX& a, const WAVEFORMATEX& b) {
    return std::memcmp(&a, &b, sizeof a) == 0 && std::memcmp(&a + 1, &b + 1, a.cbSize) == 0;
}

std::uint64_t BytesOf(const WAVEFORMATEX& format, std::int64_t time) {
    constexpr unsigned units_per_second = 10'000'000;
    const Product frames =
        Product{format.nSamplesPerSec} * static_cast<std::uint64_t>(time) / units_per_second;
    return format.nBlockAlign * static_cast<std::uint64_t>(frames);
}

}  // namespace Vimbrel

// Decimal numbers, two digits to a division.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace HalvorixAppLog {

// "00" to "99".
struct DigitPairs {
    char text[200];
    constexpr DigitPairs() : text() {
        for (int i = 0; i < 100; ++i) {
            text[i * 2] = static_cast<char>('0' + i / 10);
            text[i * 2 + 1] = static_cast<char>('0' + i % 10);
        }
    }
};
inline constexpr DigitPairs digit_pairs;

// Below 100, always two digits.
inline char* WritePair(char* position, unsigned number) {
    std::memcpy(position, digit_pairs.text + number * 2, 2);
    return position + 2;
}

// Padded with zeros on the left up to `width`, which counts up to 64. Returns the place after what
// was written. Kept: writes nothing if 64 bytes or fewer are free before `end`, whatever the number
// needs, because tools rely on the lines' bytes.
inline char* WriteNumber(char* position, const char* end, std::uint64_t number, int width) {
    constexpr std::size_t scratch_size = 64;
    if (end - position <= static_cast<std::ptrdiff_t>(scratch_size)) return position;
    char scratch[scratch_size];
    char* const scratch_end = scratch + scratch_size;
    char* digits = scratch_end;
    do {
        digits -= 2;
        std::memcpy(digits, digit_pairs.text + number % 100 * 2, 2);
        number /= 100;
    } while (number != 0);
    if (*digits == '0') ++digits;
    const char* const padded = scratch_end - std::clamp(width, 0, static_cast<int>(scratch_size));
    while (digits > padded) *--digits = '0';
    const std::size_t length = static_cast<std::size_t>(scratch_end - digits);
    std::memcpy(position, digits, length);
    return position + length;
}

}  // namespace HalvorixAppLog

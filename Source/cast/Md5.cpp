#include "Source/cast/Md5.h"

#include <bit>
#include <cmath>
#include <string>

namespace Vimbrel {
namespace {

constexpr std::size_t block_size = 64;
constexpr std::size_t length_size = 8;
constexpr std::size_t steps = 64;

using State = std::array<std::uint32_t, 4>;

// The definition of these constants: 2^32 times the sine's absolute value, without its fraction.
std::array<std::uint32_t, steps> SineTable() {
    std::array<std::uint32_t, steps> table{};
    for (std::size_t i = 0; i < steps; ++i) {
        const double sine = std::fabs(std::sin(static_cast<double>(i + 1)));
        table[i] = static_cast<std::uint32_t>(std::floor(sine * 4294967296.0));
    }
    return table;
}

std::uint32_t LittleEndian(const char* bytes) {
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i) value = value << 8 | static_cast<std::uint8_t>(bytes[i]);
    return value;
}

void AddBlock(const char* block, State& state) {
    static const std::array<std::uint32_t, steps> sines = SineTable();
    static constexpr int turns[4][4] = {
        {7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
    auto [a, b, c, d] = state;
    for (std::size_t i = 0; i < steps; ++i) {
        std::uint32_t mixed = 0;
        std::size_t word = 0;
        switch (i / 16) {
            case 0:
                mixed = (b & c) | (~b & d);
                word = i;
                break;
            case 1:
                mixed = (d & b) | (~d & c);
                word = 5 * i + 1;
                break;
            case 2:
                mixed = b ^ c ^ d;
                word = 3 * i + 5;
                break;
            default:
                mixed = c ^ (b | ~d);
                word = 7 * i;
                break;
        }
        mixed += a + sines[i] + LittleEndian(block + 4 * (word % 16));
        a = d;
        d = c;
        c = b;
        b += std::rotl(mixed, turns[i / 16][i % 4]);
    }
    state = {state[0] + a, state[1] + b, state[2] + c, state[3] + d};
}

}  // namespace

Md5Digest Md5(std::string_view text) {
    // The padding is one bit, zeros, and the length in bits.
    std::string padded(text);
    padded.push_back(static_cast<char>(0x80));
    while (padded.size() % block_size != block_size - length_size) padded.push_back(0);
    const std::uint64_t bits = std::uint64_t{text.size()} * 8;
    for (std::size_t i = 0; i < length_size; ++i)
        padded.push_back(static_cast<char>(bits >> (8 * i)));

    State state = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
    for (std::size_t at = 0; at < padded.size(); at += block_size)
        AddBlock(padded.data() + at, state);
    Md5Digest digest{};
    for (std::size_t i = 0; i < digest.size(); ++i)
        digest[i] = static_cast<std::uint8_t>(state[i / 4] >> (8 * (i % 4)));
    return digest;
}

}  // namespace Vimbrel

// The decompression of a GIF's pixels.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace Vimbrel {

// Encoders may fill the code table and go on without clearing it, and may leave out the clear code
// at the beginning.
class LzwDecoder {
public:
    // `literal_bits` is the number that the picture's data begins with, 1 to 8. `output` is filled
    // from its beginning.
    LzwDecoder(unsigned literal_bits, std::span<std::uint8_t> output);

    // Takes further data, and ignores it once the output is full. False for a code that does not
    // exist yet or an end before the output is full.
    bool Take(std::span<const std::uint8_t> data);
    bool Full() const { return done_ == output_.size(); }

private:
    static constexpr unsigned most_codes = 4096;

    // A code's string, which always is part of the output already.
    struct Entry {
        std::size_t start;
        std::size_t length;
    };

    void Clear();
    bool TakeCode(unsigned code);
    void Learn();

    const std::span<std::uint8_t> output_;
    const unsigned clear_code_;
    const unsigned first_bits_;
    std::size_t done_ = 0;
    unsigned pending_ = 0;  // bits of the data not yet used
    unsigned pending_bits_ = 0;
    unsigned code_bits_ = 0;
    unsigned next_code_ = 0;
    bool has_previous_ = false;
    Entry previous_{};
    std::array<Entry, most_codes> entries_;
};

}  // namespace Vimbrel

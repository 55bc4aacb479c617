#include "platform/linux/wic/gif/LzwDecoder.h"

#include <algorithm>

namespace Vimbrel {

LzwDecoder::LzwDecoder(unsigned literal_bits, std::span<std::uint8_t> output)
    : output_(output), clear_code_(1u << literal_bits), first_bits_(literal_bits + 1) {
    Clear();
}

void LzwDecoder::Clear() {
    code_bits_ = first_bits_;
    next_code_ = clear_code_ + 2;
    has_previous_ = false;
}

bool LzwDecoder::Take(std::span<const std::uint8_t> data) {
    for (const std::uint8_t byte : data) {
        if (Full()) break;
        pending_ |= static_cast<unsigned>(byte) << pending_bits_;
        pending_bits_ += 8;
        while (pending_bits_ >= code_bits_ && !Full()) {
            const unsigned code = pending_ & ((1u << code_bits_) - 1);
            pending_ >>= code_bits_;
            pending_bits_ -= code_bits_;
            if (!TakeCode(code)) return false;
        }
    }
    return true;
}

bool LzwDecoder::TakeCode(unsigned code) {
    if (code == clear_code_) {
        Clear();
        return true;
    }
    if (code == clear_code_ + 1) return false;
    const std::size_t start = done_;
    if (code < clear_code_) {
        output_[done_++] = static_cast<std::uint8_t>(code);
        Learn();
        previous_ = {start, 1};
        return true;
    }
    // The code that is about to be made stands for the previous string and its own first byte.
    const bool made_now = code == next_code_ && has_previous_ && next_code_ < most_codes;
    if (!made_now && code >= next_code_) return false;
    const Entry entry = made_now ? Entry{previous_.start, previous_.length + 1} : entries_[code];
    // Byte by byte, as the two may overlap, which repeats the string.
    const std::size_t length = std::min(entry.length, output_.size() - done_);
    for (std::size_t i = 0; i < length; ++i) output_[done_++] = output_[entry.start + i];
    Learn();
    previous_ = {start, entry.length};
    return true;
}

// The previous string and the byte after it in the output become the next code, while there is
// room. A full table is used as it is until it is cleared.
void LzwDecoder::Learn() {
    if (has_previous_ && next_code_ < most_codes) {
        entries_[next_code_++] = {previous_.start, previous_.length + 1};
        if (next_code_ == 1u << code_bits_ && next_code_ < most_codes) ++code_bits_;
    }
    has_previous_ = true;
}

}  // namespace Vimbrel

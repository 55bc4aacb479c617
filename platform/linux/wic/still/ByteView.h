// Bytes of a file, read without a step outside.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Vimbrel {

// Reads beyond the end give 0.
class ByteView {
public:
    ByteView(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    const std::uint8_t* Data() const { return data_; }
    std::size_t Size() const { return size_; }
    bool Has(std::uint64_t offset, std::uint64_t count) const {
        return offset <= size_ && count <= size_ - offset;
    }
    bool StartsWith(const void* bytes, std::size_t count, std::size_t offset = 0) const {
        return Has(offset, count) && std::memcmp(data_ + offset, bytes, count) == 0;
    }

    std::uint32_t U8(std::uint64_t offset) const { return offset < size_ ? data_[offset] : 0u; }
    std::uint32_t Le16(std::uint64_t offset) const { return U8(offset) | U8(offset + 1) << 8; }
    std::uint32_t Le24(std::uint64_t offset) const { return Le16(offset) | U8(offset + 2) << 16; }
    std::uint32_t Le32(std::uint64_t offset) const { return Le16(offset) | Le16(offset + 2) << 16; }
    std::uint32_t Be16(std::uint64_t offset) const { return U8(offset) << 8 | U8(offset + 1); }
    std::uint32_t Be32(std::uint64_t offset) const { return Be16(offset) << 16 | Be16(offset + 2); }

private:
    const std::uint8_t* data_;
    std::size_t size_;
};

}  // namespace Vimbrel

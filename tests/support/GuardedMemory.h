// Memory between pages that may not be touched: a byte read or written too far ends the program.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Vimbrel::test {

class GuardedMemory {
public:
    // More than `size` bytes, in whole pages.
    explicit GuardedMemory(std::size_t size);
    ~GuardedMemory();
    GuardedMemory(const GuardedMemory&) = delete;
    GuardedMemory& operator=(const GuardedMemory&) = delete;

    std::uint8_t* Begin() const { return begin; }
    std::uint8_t* End() const { return end; }

private:
    std::uint8_t* begin;
    std::uint8_t* end;
};

}  // namespace Vimbrel::test

#include <windows.h>

#include <cstdlib>

#include "tests/support/GuardedMemory.h"

namespace Vimbrel::test {

namespace {
constexpr std::size_t page = 4096;
}  // namespace

GuardedMemory::GuardedMemory(std::size_t size) {
    const std::size_t bytes = (size / page + 1) * page;
    void* all = VirtualAlloc(nullptr, bytes + 2 * page, MEM_RESERVE, PAGE_NOACCESS);
    if (all == nullptr) std::abort();
    begin = static_cast<std::uint8_t*>(all) + page;
    end = begin + bytes;
    if (VirtualAlloc(begin, bytes, MEM_COMMIT, PAGE_READWRITE) == nullptr) std::abort();
}

GuardedMemory::~GuardedMemory() { VirtualFree(begin - page, 0, MEM_RELEASE); }

}  // namespace Vimbrel::test

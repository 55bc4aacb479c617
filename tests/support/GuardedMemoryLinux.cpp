#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/support/GuardedMemory.h"

namespace Vimbrel::test {

namespace {
std::size_t PageBytes() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }
}  // namespace

GuardedMemory::GuardedMemory(std::size_t size) {
    const std::size_t page = PageBytes();
    const std::size_t bytes = (size / page + 1) * page;
    void* all = mmap(nullptr, bytes + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (all == MAP_FAILED) std::abort();
    begin = static_cast<std::uint8_t*>(all) + page;
    end = begin + bytes;
    if (mprotect(begin, bytes, PROT_READ | PROT_WRITE) != 0) std::abort();
}

GuardedMemory::~GuardedMemory() {
    const std::size_t page = PageBytes();
    munmap(begin - page, static_cast<std::size_t>(end - begin) + 2 * page);
}

}  // namespace Vimbrel::test

#include "Source/RecordMemory.h"

#include <new>

namespace Vimbrel {

namespace {

// Below this the C library's own lists are as good.
constexpr std::uint32_t smallest_kept = 64 << 10;
// What a recorder that keeps up has under way.
constexpr std::size_t most_kept = 3;

}  // namespace

std::unique_ptr<unsigned char[]> RecordMemory::Take(std::uint32_t size) {
    if (size >= smallest_kept) {
        const std::lock_guard guard(lock);
        if (size == kept_size && !kept.empty()) {
            auto memory = std::move(kept.back());
            kept.pop_back();
            return memory;
        }
    }
    return std::unique_ptr<unsigned char[]>(new (std::nothrow) unsigned char[size]);
}

void RecordMemory::Give(std::unique_ptr<unsigned char[]> memory, std::uint32_t size) {
    if (size < smallest_kept) return;
    std::vector<std::unique_ptr<unsigned char[]>> old;  // freed without the lock
    const std::lock_guard guard(lock);
    if (size != kept_size) {
        old.swap(kept);
        kept_size = size;
    }
    if (kept.size() < most_kept) kept.push_back(std::move(memory));
}

}  // namespace Vimbrel

#include "platform/linux/portal/CastMemory.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <new>

namespace Vimbrel {

std::shared_ptr<CastMemory> CastMemory::Map(int file, std::size_t offset, std::size_t size) try {
    struct stat state {};
    // Reading past the end of a file would end the process.
    if (size == 0 || fstat(file, &state) != 0 || state.st_size < 0 ||
        offset + size > static_cast<std::size_t>(state.st_size))
        return nullptr;
    std::shared_ptr<CastMemory> made(new CastMemory);
    const std::size_t ahead = offset % static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void* const mapped = mmap(nullptr, size + ahead, PROT_READ, MAP_SHARED, file,
                              static_cast<off_t>(offset - ahead));
    if (mapped == MAP_FAILED) return nullptr;
    made->mapped_ = static_cast<std::uint8_t*>(mapped);
    made->length_ = size + ahead;
    made->ahead_ = ahead;
    return made;
} catch (const std::bad_alloc&) {
    return nullptr;
}

std::shared_ptr<CastMemory> CastMemory::Make(std::size_t size) try {
    std::shared_ptr<CastMemory> made(new CastMemory);
    void* const mapped =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) return nullptr;
    made->mapped_ = static_cast<std::uint8_t*>(mapped);
    made->length_ = size;
    return made;
} catch (const std::bad_alloc&) {
    return nullptr;
}

CastMemory::~CastMemory() {
    if (mapped_) munmap(mapped_, length_);
}

}  // namespace Vimbrel

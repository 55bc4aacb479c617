// Memory of frames that are through, for the next ones: fresh memory of that size costs the caller a page fault every 4 KiB.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace Vimbrel {

// From any thread.
class RecordMemory {
public:
    // Null if there is no memory. Not cleared.
    std::unique_ptr<unsigned char[]> Take(std::uint32_t size);
    // Keeps it for a Take of the same size, or frees it.
    void Give(std::unique_ptr<unsigned char[]> memory, std::uint32_t size);

private:
    std::mutex lock;
    std::uint32_t kept_size = 0;
    std::vector<std::unique_ptr<unsigned char[]>> kept;  // of that size; guarded by lock, as is kept_size
};

}  // namespace Vimbrel

// How much memory the system can give.
#pragma once

#include <cstdint>

namespace Vimbrel {

// Bytes that programs can have without swapping, which includes what caches would give back, within
// the bound of the process's control group. Any thread.
std::uint64_t FreeMemory();

}  // namespace Vimbrel

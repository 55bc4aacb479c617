// Flags and levels that say nothing of other memory: their order does not matter.
#pragma once

#include <atomic>

namespace Vimbrel {

constexpr auto relaxed = std::memory_order_relaxed;

}  // namespace Vimbrel

// What a cast stream takes: formats of pictures, buffers and what comes with them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

struct spa_pod;
struct spa_pod_builder;

namespace Vimbrel {

// Too small a range loses the cursor without a word: mutter alone needs 384.
inline constexpr std::uint32_t largest_cursor = 1024;
// More areas than that count as everything.
inline constexpr std::size_t damage_limit = 16;

// The results lie in the builder's memory, of which 1024 bytes are enough.
const spa_pod* OfferFormats(spa_pod_builder& builder);
std::array<const spa_pod*, 5> OfferBuffers(spa_pod_builder& builder);

}  // namespace Vimbrel

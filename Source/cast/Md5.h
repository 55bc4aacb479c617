// The MD5 digest, which login protocols ask for.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace Vimbrel {

using Md5Digest = std::array<std::uint8_t, 16>;

Md5Digest Md5(std::string_view text);

}  // namespace Vimbrel

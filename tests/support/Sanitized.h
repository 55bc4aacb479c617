#pragma once

namespace Vimbrel::test {
// Programs under a sanitizer take many times as long. What the sanitizer looks for shows in a part
// of a long table or recording; the plain build goes through all of it.
#ifdef VIMBREL_SANITIZED
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif
}  // namespace Vimbrel::test

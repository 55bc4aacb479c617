// File names of callers as this system has them.
#pragma once

#include <string>
#include <string_view>

namespace Vimbrel {

// UTF-8, without the prefix "\\?\" that marks long paths elsewhere.
std::string NativePath(std::wstring_view name);

}  // namespace Vimbrel

#include "platform/linux/kernel/NativePath.h"

#include "com/Utf8.h"

namespace Vimbrel {

namespace {

constexpr std::wstring_view long_path_prefix = L"\\\\?\\";

}  // namespace

std::string NativePath(std::wstring_view name) {
    if (name.substr(0, long_path_prefix.size()) == long_path_prefix)
        name.remove_prefix(long_path_prefix.size());
    return ToUtf8(name);
}

}  // namespace Vimbrel

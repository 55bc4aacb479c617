// Texts and file names as the library takes them, and back.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace studio {

// Of UTF-8, whatever the locale is.
std::wstring Widen(const std::string& text);

// UTF-8.
std::string Narrow(std::wstring_view text);

// The library's form of a path.
std::wstring Widen(const std::filesystem::path& path);

}  // namespace studio

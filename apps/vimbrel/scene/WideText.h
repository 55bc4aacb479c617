// Texts and file names as the library takes them.
#pragma once

#include <filesystem>
#include <string>

namespace studio {

// Of UTF-8, whatever the locale is.
std::wstring Widen(const std::string& text);

// The library's form of a path.
std::wstring Widen(const std::filesystem::path& path);

// The UTF-8 form.
std::string Narrow(const std::wstring& text);

}  // namespace studio

// Wide text to UTF-8 and back, whichever width the platform's wide characters have. Bad input
// becomes U+FFFD.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Vimbrel {

// Takes the first code point off `text`, which must not be empty. A surrogate pair counts as one, a
// lone surrogate as bad.
char32_t TakeCodePoint(std::wstring_view& text);

// Writes the UTF-8 form of a valid code point to `bytes`, which has room for 4, and returns its
// length.
int EncodeUtf8(char32_t code_point, char* bytes);

std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view text);

// Writes the wide form of UTF-8 to `wide`, which has room for as many characters as `text` has
// bytes, without a terminator. Returns the number of characters.
std::size_t WidenUtf8(std::string_view text, wchar_t* wide);

}  // namespace Vimbrel

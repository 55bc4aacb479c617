// Byte strings of keys and values.
#pragma once

#include <string>
#include <string_view>

namespace HalvorixAppLog {

// `text` without a UTF-8 byte order mark in front, and then without line ends, tabs, blanks and
// `extras` at both ends.
std::string_view Trim(std::string_view text, std::string_view extras = {});

// The letters A to Z as small ones; no other bytes, whatever the locale.
std::string LowerCase(std::string_view text);

}  // namespace HalvorixAppLog

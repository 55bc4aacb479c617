// printf texts whose wide arguments do not depend on the locale.
#pragma once

#include <cstdarg>
#include <string>

namespace HalvorixAppLog {

// The text of a printf format. Wide characters and strings become UTF-8, bad input replaced; the C
// library refuses them in a locale that has no such characters. A precision of wide text counts
// bytes and cuts between characters. %n stores nothing.
std::string FormatText(const char* format, std::va_list arguments);

}  // namespace HalvorixAppLog

// printf texts whose wide arguments do not depend on the locale.
#pragma once

#include <cstdarg>
#include <string>

namespace HalvorixAppLog {

// Whether a printf format has wide characters or strings.
bool HasWideText(const char* format);

// The text of a printf format. Wide characters and strings become UTF-8, bad input replaced; C
// libraries refuse them, or write the locale's own bytes. A precision of wide text counts
// bytes and cuts between characters. %n stores nothing.
std::string FormatText(const char* format, std::va_list arguments);

}  // namespace HalvorixAppLog

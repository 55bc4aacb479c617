#include <algorithm>
#include <cstring>

#include "com/Utf8.h"
#include "log/NumberWriter.h"
#include "vimbrel/AppLog.h"

namespace HalvorixAppLog {

LogCursor::LogCursor(LogRecord& target)
    : record(target),
      position(target.content + target.contentLength),
      end(target.content + LOG_TEXT_CAPACITY) {}

LogCursor::~LogCursor() {
    record.contentLength = static_cast<std::int32_t>(position - record.content);
}

void LogCursor::Write(char character) {
    if (Free() > 1) *position++ = character;
}

void LogCursor::Write(std::string_view text) {
    const std::size_t length = std::min(Free(), text.size());
    if (length == 0) return;  // the text may be null
    std::memcpy(position, text.data(), length);
    position += length;
}

void LogCursor::Write(std::wstring_view text) {
    char bytes[4];
    while (!text.empty() && Free() > 0) {
        Write(std::string_view(bytes, static_cast<std::size_t>(Vimbrel::EncodeUtf8(
                                          Vimbrel::TakeCodePoint(text), bytes))));
    }
}

void LogCursor::WriteUnsigned(std::uint64_t number, int width) {
    position = WriteNumber(position, end, number, width);
}

void LogCursor::WriteSigned(std::int64_t number) {
    // Kept: on a nearly full record the sign stays without its digits; tools rely on the lines'
    // bytes.
    if (number < 0) Write('-');
    WriteUnsigned(number < 0 ? 0 - static_cast<std::uint64_t>(number)
                             : static_cast<std::uint64_t>(number));
}

}  // namespace HalvorixAppLog

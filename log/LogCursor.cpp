#include <algorithm>
#include <cstring>

#include "com/Utf8.h"
#include "vimbrel/AppLog.h"

namespace HalvorixAppLog {

namespace {

constexpr std::size_t number_room = 64;

// "00" to "99".
struct DigitPairs {
    char text[200];
    constexpr DigitPairs() : text() {
        for (int i = 0; i < 100; ++i) {
            text[i * 2] = static_cast<char>('0' + i / 10);
            text[i * 2 + 1] = static_cast<char>('0' + i % 10);
        }
    }
};
constexpr DigitPairs digit_pairs;

}  // namespace

LogCursor::LogCursor(LogRecord& target)
    : record(target), position(target.content + target.contentLength), end(target.content + LOG_TEXT_CAPACITY) {}

LogCursor::~LogCursor() { record.contentLength = static_cast<std::int32_t>(position - record.content); }

void LogCursor::Write(char character) {
    if (Free() > 1) *position++ = character;
}

void LogCursor::Write(std::string_view text) {
    const std::size_t length = std::min(Free(), text.size());
    std::memcpy(position, text.data(), length);
    position += length;
}

void LogCursor::Write(std::wstring_view text) {
    char bytes[4];
    while (!text.empty() && Free() > 0) {
        Write(std::string_view(bytes, static_cast<std::size_t>(Vimbrel::EncodeUtf8(Vimbrel::TakeCodePoint(text), bytes))));
    }
}

void LogCursor::WriteUnsigned(std::uint64_t number, int width) {
    if (Free() <= number_room) return;
    char scratch[number_room];
    char* const scratch_end = scratch + sizeof scratch;
    char* digits = scratch_end;
    do {
        digits -= 2;
        std::memcpy(digits, digit_pairs.text + number % 100 * 2, 2);
        number /= 100;
    } while (number != 0);
    if (*digits == '0') ++digits;
    char* const padded = scratch_end - std::min<std::size_t>(static_cast<std::size_t>(std::max(width, 0)), sizeof scratch);
    while (digits > padded) *--digits = '0';
    Write(std::string_view(digits, static_cast<std::size_t>(scratch_end - digits)));
}

void LogCursor::WriteSigned(std::int64_t number) {
    if (number < 0) Write('-');
    WriteUnsigned(number < 0 ? 0 - static_cast<std::uint64_t>(number) : static_cast<std::uint64_t>(number));
}

}  // namespace HalvorixAppLog

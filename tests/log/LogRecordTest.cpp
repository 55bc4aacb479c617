#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>
#include <string>

#include "vimbrel/AppLog.h"

namespace HalvorixAppLog {
namespace {

std::unique_ptr<LogRecord> RecordWithFree(std::int32_t free) {
    auto record = std::make_unique<LogRecord>();
    record->contentLength = LOG_TEXT_CAPACITY - free;
    std::memset(record->content, 'x', sizeof record->content);
    return record;
}

// What was written after the first LOG_TEXT_CAPACITY - free bytes.
std::string Tail(const LogRecord& record, std::int32_t free) {
    return std::string(record.content + LOG_TEXT_CAPACITY - free,
                       record.content + record.contentLength);
}

TEST(LogCursor, WritersAreBoundedByTheCapacity) {
    const struct {
        std::int32_t free;
        void (*write)(LogCursor&);
        std::string text;
    } cases[] = {
        {1, [](LogCursor& cursor) { cursor << 'a'; }, ""},  // a character needs more than one byte
        {2, [](LogCursor& cursor) { cursor << 'a' << 'b'; }, "a"},
        {3, [](LogCursor& cursor) { cursor << "abcd"; },
         "abc"},  // a string takes the last byte, too
        {0, [](LogCursor& cursor) { cursor << "abcd" << 'e' << 1u; }, ""},
        {64, [](LogCursor& cursor) { cursor << 5u << "after"; }, "after"},
        {65, [](LogCursor& cursor) { cursor << 5u << 6u; }, "5"},
        {64, [](LogCursor& cursor) { cursor << -5; }, "-"},  // the sign goes by the character rule
        {66, [](LogCursor& cursor) { cursor << -5; }, "-5"},
        {200,
         [](LogCursor& cursor) { cursor << std::numeric_limits<long long>::min() << ' ' << 0u; },
         "-9223372036854775808 0"},
        {100, [](LogCursor& cursor) { cursor << std::numeric_limits<unsigned long long>::max(); },
         "18446744073709551615"},
        {100,
         [](LogCursor& cursor) { cursor << L"\u00e4\u20ac" << static_cast<const char*>(nullptr); },
         "\xC3\xA4\xE2\x82\xAC"},
        {4, [](LogCursor& cursor) { cursor << L"\u20ac\u20ac"; },
         "\xE2\x82\xAC\xE2"},  // cut by bytes
    };
    for (const auto& entry : cases) {
        const auto record = RecordWithFree(entry.free);
        {
            LogCursor cursor(*record);
            entry.write(cursor);
        }
        EXPECT_EQ(Tail(*record, entry.free), entry.text) << entry.free;
        EXPECT_EQ(std::string(record->content + LOG_TEXT_CAPACITY, 3), "xxx");
    }
}

TEST(AppendFormat, IsCutAtTheCapacity) {
    const struct {
        std::int32_t free;
        std::size_t length;
        std::int32_t left;
    } cases[] = {{10, 4, 6}, {10, 10, 0}, {10, 11, 0}, {10, 9000, 0}, {0, 5, 0}, {8192, 9000, 0}};
    for (const auto& entry : cases) {
        const auto record = RecordWithFree(entry.free);
        AppendFormat(*record, "%s", std::string(entry.length, 'y').c_str());
        EXPECT_EQ(record->contentLength, LOG_TEXT_CAPACITY - entry.left);
        EXPECT_EQ(Tail(*record, entry.free),
                  std::string(static_cast<std::size_t>(entry.free - entry.left), 'y'));
        EXPECT_EQ(std::string(record->content + LOG_TEXT_CAPACITY + 1, 2), "xx");
    }
}

template <class... Arguments>
std::string Formatted(const char* format, Arguments... arguments) {
    const auto record = RecordWithFree(200);
    AppendFormat(*record, format, arguments...);
    return Tail(*record, 200);
}

// Wide text that the locale lacks sends the whole line through our own formatting: it must equal
// the C library's in everything else.
TEST(AppendFormat, WideTextInTheCLocale) {
    const std::string utf8 = "caf\u00e9 \U0001F600";
    EXPECT_EQ(Formatted("name=%ls!", L"caf\u00e9 \U0001F600"), "name=" + utf8 + "!");
    EXPECT_EQ(Formatted("%S|%lc|%C", L"\u00e9", wint_t{0xE9}, wint_t{'x'}), "\u00e9|\u00e9|x");
    EXPECT_EQ(Formatted("%.4ls|%6ls|%-6.3ls|", L"caf\u00e9", L"\u00e9", L"\u00e9\u00e9"),
              "caf|    \u00e9|\u00e9    |");
    EXPECT_EQ(Formatted("%.*s|%*d|%-*d|%ls", 2, "abc", 5, -7, 4, 8, L"\u00e9"),
              "ab|   -7|8   |\u00e9");
    EXPECT_EQ(Formatted("%.*s|%%|%c|%ls", -1, "abc", 'x', L"\u00e9"), "abc|%|x|\u00e9");
    EXPECT_EQ(Formatted("%hhd %hu %+d %ld %lld %zu %jx %#o %ls", 300, 70000, 1, -2L, -3LL,
                        std::size_t{4}, std::uintmax_t{255}, 8U, L"\u00e9"),
              "44 4464 +1 -2 -3 4 ff 010 \u00e9");
    EXPECT_EQ(Formatted("0x%08X %.2f %Lg %e %ls", 0x80004005U, 1.5, 2.5L, 1e9, L"\u00e9"),
              "0x80004005 1.50 2.5 1.000000e+09 \u00e9");
    // It is cut like any other text, and so is what comes after it.
    const auto record = RecordWithFree(4);
    AppendFormat(*record, "ab%ls%d", L"\u00e9\u00e9", 7);
    EXPECT_EQ(Tail(*record, 4), "ab\u00e9");
    EXPECT_EQ(record->contentLength, LOG_TEXT_CAPACITY);
}

}  // namespace
}  // namespace HalvorixAppLog

#include "com/Utf8.h"

#include <cstdint>
#include <cstring>

namespace Vimbrel {

namespace {

constexpr char32_t replacement = 0xFFFD;

constexpr bool IsHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool IsLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

// Takes one code point off UTF-8 text that is not empty. A bad sequence costs one byte and gives
// the replacement.
char32_t TakeUtf8(std::string_view& text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(0);
    std::size_t length = 1;
    char32_t value = first;
    char32_t lowest = 0;
    if (first >= 0xF0 && first < 0xF8) {
        length = 4, value = first & 0x07, lowest = 0x10000;
    } else if (first >= 0xE0 && first < 0xF0) {
        length = 3, value = first & 0x0F, lowest = 0x800;
    } else if (first >= 0xC0 && first < 0xE0) {
        length = 2, value = first & 0x1F, lowest = 0x80;
    } else if (first >= 0x80) {
        text.remove_prefix(1);
        return replacement;
    }
    bool good = text.size() >= length;
    for (std::size_t i = 1; good && i < length; ++i) {
        good = (byte(i) & 0xC0) == 0x80;
        value = value << 6 | (byte(i) & 0x3F);
    }
    good = good && value >= lowest && value <= 0x10FFFF && !IsHighSurrogate(value) &&
           !IsLowSurrogate(value);
    text.remove_prefix(good ? length : 1);
    return good ? value : replacement;
}

// Widens the bytes in front that are below 0x80, by eights while there are as many, and returns
// how many they are.
std::size_t WidenAscii(std::string_view text, wchar_t* wide) {
    std::size_t length = 0;
    for (std::uint64_t eight; length + sizeof eight <= text.size(); length += sizeof eight) {
        std::memcpy(&eight, text.data() + length, sizeof eight);
        if (eight & 0x8080808080808080u) break;
        for (std::size_t i = 0; i < sizeof eight; ++i)
            wide[length + i] = static_cast<wchar_t>(text[length + i]);
    }
    for (; length < text.size() && static_cast<unsigned char>(text[length]) < 0x80; ++length)
        wide[length] = static_cast<wchar_t>(text[length]);
    return length;
}

}  // namespace

char32_t TakeCodePoint(std::wstring_view& text) {
    const auto unit = [&](std::size_t i) { return static_cast<char32_t>(text[i]); };
    const char32_t first = unit(0);
    if (IsHighSurrogate(first) && text.size() > 1 && IsLowSurrogate(unit(1))) {
        const char32_t value = 0x10000 + ((first - 0xD800) << 10) + (unit(1) - 0xDC00);
        text.remove_prefix(2);
        return value;
    }
    text.remove_prefix(1);
    return IsHighSurrogate(first) || IsLowSurrogate(first) || first > 0x10FFFF ? replacement
                                                                               : first;
}

int EncodeUtf8(char32_t code_point, char* bytes) {
    if (code_point < 0x80) {
        bytes[0] = static_cast<char>(code_point);
        return 1;
    }
    const int length = code_point < 0x800 ? 2 : code_point < 0x10000 ? 3 : 4;
    for (int i = length - 1; i > 0; --i) {
        bytes[i] = static_cast<char>(0x80 | (code_point & 0x3F));
        code_point >>= 6;
    }
    bytes[0] = static_cast<char>((0xF00 >> length & 0xFF) | code_point);
    return length;
}

std::string ToUtf8(std::wstring_view text) {
    std::string result;
    result.reserve(text.size());
    char bytes[4];
    while (!text.empty())
        result.append(bytes, static_cast<std::size_t>(EncodeUtf8(TakeCodePoint(text), bytes)));
    return result;
}

std::size_t WidenUtf8(std::string_view text, wchar_t* wide) {
    std::size_t length = 0;
    while (!text.empty()) {
        const std::size_t ascii = WidenAscii(text, wide + length);
        length += ascii;
        text.remove_prefix(ascii);
        if (text.empty()) break;
        const char32_t value = TakeUtf8(text);
        if (sizeof(wchar_t) == 2 && value >= 0x10000) {
            wide[length++] = static_cast<wchar_t>(0xD800 + ((value - 0x10000) >> 10));
            wide[length++] = static_cast<wchar_t>(0xDC00 + ((value - 0x10000) & 0x3FF));
        } else {
            wide[length++] = static_cast<wchar_t>(value);
        }
    }
    return length;
}

std::wstring FromUtf8(std::string_view text) {
    std::wstring result(text.size(), L'\0');
    result.resize(WidenUtf8(text, result.data()));
    return result;
}

}  // namespace Vimbrel

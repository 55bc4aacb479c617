#include "log/FormatText.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string_view>

#include "com/Utf8.h"

namespace HalvorixAppLog {

namespace {

// Walks over a format and takes the arguments one by one.
class Formatter {
public:
    Formatter(const char* format, std::va_list list) : at(format) { va_copy(arguments, list); }
    ~Formatter() { va_end(arguments); }
    Formatter(const Formatter&) = delete;
    Formatter& operator=(const Formatter&) = delete;

    std::string Run() {
        while (*at) {
            const std::size_t plain = std::strcspn(at, "%");
            text.append(at, plain);
            at += plain;
            if (*at == '%') Conversion();
        }
        return std::move(text);
    }

private:
    // A number of the directive, or the argument that a star stands for.
    void Number() {
        if (*at == '*') {
            ++at;
            directive += std::to_string(va_arg(arguments, int));
        } else {
            while (*at >= '0' && *at <= '9') directive += *at++;
        }
    }

    void Conversion() {
        directive = *at++;
        while (*at && std::strchr("-+ #0", *at)) directive += *at++;
        Number();
        const std::size_t point = directive.size();
        if (*at == '.') {
            directive += *at++;
            Number();
            // A negative precision is none.
            if (directive.find('-', point) != std::string::npos) directive.resize(point);
        }
        std::string length;
        while (*at && std::strchr("hljztL", *at)) length += *at++;
        const char kind = *at ? *at++ : '%';
        if (std::strchr("di", kind)) {
            Integer<int, long, long long, std::intmax_t, std::ptrdiff_t>(length, kind);
        } else if (std::strchr("uoxX", kind)) {
            Integer<unsigned, unsigned long, unsigned long long, std::uintmax_t, std::size_t>(
                length, kind);
        } else if (std::strchr("aAeEfFgG", kind)) {
            if (length == "L") {
                Append("L", kind, va_arg(arguments, long double));
            } else {
                Append("", kind, va_arg(arguments, double));
            }
        } else {
            Text(kind, length == "l" || kind == 'S' || kind == 'C', point);
        }
    }

    template <class Int, class Long, class LongLong, class Maximum, class Size>
    void Integer(const std::string& length, char kind) {
        const char* const prefix = length.c_str();
        if (length == "l") return Append(prefix, kind, va_arg(arguments, Long));
        if (length == "ll") return Append(prefix, kind, va_arg(arguments, LongLong));
        if (length == "j") return Append(prefix, kind, va_arg(arguments, Maximum));
        if (length == "z" || length == "t") return Append(prefix, kind, va_arg(arguments, Size));
        Append(prefix, kind, va_arg(arguments, Int));  // hh and h arrive as int
    }

    void Text(char kind, bool wide, std::size_t point) {
        switch (kind) {
            case 's':
            case 'S':
                if (wide) {
                    WideText(va_arg(arguments, const wchar_t*), point);
                } else {
                    Append("", 's', va_arg(arguments, const char*));
                }
                break;
            case 'c':
            case 'C': {
                // Both kinds of character arrive as an integer of this size or smaller.
                const int character = va_arg(arguments, int);
                if (wide) {
                    const wchar_t single[] = {static_cast<wchar_t>(character), 0};
                    WideText(single, point);
                } else {
                    Append("", 'c', character);
                }
                break;
            }
            case 'p':
                Append("", 'p', va_arg(arguments, void*));
                break;
            case 'n':
                static_cast<void>(va_arg(arguments, void*));
                break;
            default:
                text += kind;
        }
    }

    // The precision is applied here, since it must not cut a character; the width by printf.
    void WideText(const wchar_t* wide, std::size_t point) {
        std::string narrow = wide ? Vimbrel::ToUtf8(wide) : "(null)";
        if (point < directive.size()) {
            std::size_t most = std::strtoul(directive.c_str() + point + 1, nullptr, 10);
            const auto continues = [&](std::size_t i) { return (narrow[i] & 0xC0) == 0x80; };
            while (most > 0 && most < narrow.size() && continues(most)) --most;
            if (most < narrow.size()) narrow.resize(most);
            directive.resize(point);
        }
        Append("", 's', narrow.c_str());
    }

    template <class Value>
    void Append(const char* length, char kind, Value value) {
        directive += length;
        directive += kind;
        const int size = std::snprintf(nullptr, 0, directive.c_str(), value);
        if (size <= 0) return;
        const std::size_t start = text.size();
        text.resize(start + static_cast<std::size_t>(size) + 1);
        std::snprintf(text.data() + start, static_cast<std::size_t>(size) + 1, directive.c_str(),
                      value);
        text.pop_back();
    }

    const char* at;
    std::va_list arguments;
    std::string directive;
    std::string text;
};

}  // namespace

bool HasWideText(const char* format) {
    for (const char* at = format; (at = std::strchr(at, '%'));) {
        ++at;
        at += std::strspn(at, "-+ #0123456789.*");
        if (*at == 'S' || *at == 'C') return true;
        if (*at == 'l' && (at[1] == 's' || at[1] == 'c')) return true;
        if (*at) ++at;
    }
    return false;
}

std::string FormatText(const char* format, std::va_list arguments) {
    return Formatter(format, arguments).Run();
}

}  // namespace HalvorixAppLog

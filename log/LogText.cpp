#include "log/LogText.h"

#include <algorithm>

namespace HalvorixAppLog {

std::string_view Trim(std::string_view text, std::string_view extras) {
    constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
    constexpr std::string_view blanks = "\r\n\t ";
    if (text.substr(0, byte_order_mark.size()) == byte_order_mark)
        text.remove_prefix(byte_order_mark.size());
    const auto goes = [&](char character) {
        return blanks.find(character) != std::string_view::npos ||
               extras.find(character) != std::string_view::npos;
    };
    while (!text.empty() && goes(text.front())) text.remove_prefix(1);
    while (!text.empty() && goes(text.back())) text.remove_suffix(1);
    return text;
}

std::string LowerCase(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                    : character;
    });
    return result;
}

}  // namespace HalvorixAppLog

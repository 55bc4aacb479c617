// Conversion of texts on the library's own UTF-8 routines.
#include <stringapiset.h>

#include <algorithm>
#include <limits>
#include <string>
#include <string_view>

#include "com/Utf8.h"

namespace {

// Copies the converted text by the rules that both directions share.
template <class Character>
int Deliver(const std::basic_string<Character>& text, Character* target, int capacity) {
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) return 0;
    const int length = static_cast<int>(text.size());
    if (capacity == 0) return length;
    if (!target || capacity < length) return 0;
    std::copy(text.begin(), text.end(), target);
    return length;
}

// The source text; a size of -1 takes the terminator in.
template <class Character>
std::basic_string_view<Character> Source(const Character* text, int size) {
    return {text, size < 0 ? std::char_traits<Character>::length(text) + 1
                           : static_cast<std::size_t>(size)};
}

bool IsUtf8(UINT code_page) { return code_page == CP_UTF8 || code_page == CP_THREAD_ACP; }

}  // namespace

extern "C" {

int WINAPI MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR text, int size, LPWSTR wide,
                               int capacity) {
    if (!IsUtf8(code_page) || flags != 0 || !text || size == 0) return 0;
    return Deliver(Vimbrel::FromUtf8(Source(text, size)), wide, capacity);
}

int WINAPI WideCharToMultiByte(UINT code_page, DWORD flags, LPCWSTR wide, int size, LPSTR text,
                               int capacity, LPCSTR default_character, BOOL* used_default) {
    if (!IsUtf8(code_page) || flags != 0 || !wide || size == 0 || default_character || used_default)
        return 0;
    return Deliver(Vimbrel::ToUtf8(Source(wide, size)), text, capacity);
}

}  // extern "C"

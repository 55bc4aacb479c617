// Setting a text from a pointer that may be null or the text's own buffer.
#pragma once

#include <string>

namespace Vimbrel {

inline void SetText(std::wstring& target, const wchar_t* text) {
    if (!text) {
        target.clear();
    } else if (text != target.c_str()) {
        target = text;
    }
}

}  // namespace Vimbrel

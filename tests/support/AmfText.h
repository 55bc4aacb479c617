// Commands of a server in AMF0, put together by tests.
#pragma once

#include <cstddef>
#include <string>

namespace Vimbrel::test {

inline std::string AmfName(const std::string& text) {
    std::string result;
    result.push_back(static_cast<char>(text.size() >> 8));
    result.push_back(static_cast<char>(text.size()));
    return result + text;
}
inline std::string AmfText(const std::string& text) { return "\x02" + AmfName(text); }
inline std::string AmfZero() { return std::string(9, '\0'); }
inline std::string AmfNull() { return "\x05"; }
inline std::string AmfEnd() { return std::string(2, '\0') + "\x09"; }

// "level" and "description" among other members.
inline std::string AmfStatus(const std::string& level, const std::string& description) {
    return "\x03" + AmfName("level") + AmfText(level) + AmfName("code") + AmfText("Any.Code") +
           AmfName("description") + AmfText(description) + AmfEnd();
}

inline std::string AmfCommand(const std::string& name, const std::string& status) {
    return AmfText(name) + AmfZero() + AmfNull() + status;
}

}  // namespace Vimbrel::test

// Which system a test runs on, asked at run time.
#pragma once

#include <windows.h>

namespace Vimbrel::test {

// Wine stands in for Windows in the tests and lacks some of its parts.
inline bool RunsUnderWine() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

}  // namespace Vimbrel::test

// Tells tests whether they run under Wine, whose media platform lacks encoders.
#pragma once

#ifdef _WIN32
#include <windows.h>
#endif

namespace Vimbrel::test {

inline bool IsWine() {
#ifdef _WIN32
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
#else
    return false;
#endif
}

}  // namespace Vimbrel::test

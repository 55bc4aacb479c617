// Windows and monitors for applications and for the library.
#include <windows.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "platform/linux/screen/CastScreen.h"
#include "platform/linux/screen/ScreenChoice.h"
#include "platform/linux/screen/ScreenOutputs.h"
#include "platform/linux/x11/XConnection.h"
#include "platform/linux/x11/XPointer.h"
#include "platform/linux/x11/XWindows.h"

namespace {

using namespace Vimbrel;

int CopyText(const std::wstring& text, LPWSTR target, int size) {
    if (!target || size <= 0) return 0;
    const std::size_t length = text.copy(target, static_cast<std::size_t>(size) - 1);
    target[length] = L'\0';
    return static_cast<int>(length);
}

HMONITOR ToMonitor(std::uint32_t output) {
    return reinterpret_cast<HMONITOR>(static_cast<std::uintptr_t>(output));
}

}  // namespace

extern "C" {

BOOL WINAPI EnumWindows(WNDENUMPROC visit, LPARAM parameter) try {
    // Only the user can choose one there.
    if (IsWaylandChosen()) return FALSE;
    const auto connection = XConnection::Shared();
    if (!connection || !visit) return FALSE;
    for (const xcb_window_t window : ListWindows(*connection)) {
        if (!visit(ToHandle(window), parameter)) return FALSE;
    }
    return TRUE;
} catch (const std::bad_alloc&) {
    return FALSE;
}

int WINAPI GetWindowTextW(HWND window, LPWSTR text, int size) try {
    const auto connection = XConnection::Shared();
    return CopyText(connection ? WindowTitle(*connection, ToXWindow(window)) : L"", text, size);
} catch (const std::bad_alloc&) {
    return CopyText(L"", text, size);
}

int WINAPI GetClassNameW(HWND window, LPWSTR text, int size) try {
    const auto connection = XConnection::Shared();
    return CopyText(connection ? WindowClass(*connection, ToXWindow(window)) : L"", text, size);
} catch (const std::bad_alloc&) {
    return CopyText(L"", text, size);
}

BOOL WINAPI GetClientRect(HWND window, RECT* rect) {
    if (const auto cast = CastScreen::OfWindow(window); cast && rect) {
        const SIZE size = cast->Size();
        *rect = {0, 0, size.cx, size.cy};
        return TRUE;
    }
    const auto connection = XConnection::Shared();
    XWindowPlace place;
    if (!rect || !connection || !ReadWindowPlace(*connection, ToXWindow(window), place))
        return FALSE;
    *rect = {0, 0, place.width, place.height};
    return TRUE;
}

BOOL WINAPI IsIconic(HWND window) {
    if (CastScreen::OfWindow(window)) return FALSE;
    const auto connection = XConnection::Shared();
    return connection && IsMinimised(*connection, ToXWindow(window));
}

BOOL WINAPI EnumDisplayMonitors(HDC context, const RECT* clip, MONITORENUMPROC visit,
                                LPARAM parameter) try {
    if (!visit || context || clip) return FALSE;
    std::vector<RECT> visited;
    for (XOutput& output : ListScreenOutputs()) {
        const auto same = [&](const RECT& place) {
            return std::memcmp(&place, &output.place, sizeof place) == 0;
        };
        if (!output.attached || std::any_of(visited.begin(), visited.end(), same)) continue;
        visited.push_back(output.place);
        if (!visit(ToMonitor(output.id), nullptr, &output.place, parameter)) return FALSE;
    }
    return visited.empty() ? FALSE : TRUE;
} catch (const std::bad_alloc&) {
    return FALSE;
}

BOOL WINAPI GetMonitorInfoW(HMONITOR monitor, MONITORINFO* info) try {
    if (!info || (info->cbSize != sizeof(MONITORINFO) && info->cbSize != sizeof(MONITORINFOEXW)))
        return FALSE;
    for (const XOutput& output : ListScreenOutputs()) {
        if (ToMonitor(output.id) != monitor || !output.attached) continue;
        info->rcMonitor = info->rcWork = output.place;
        info->dwFlags = output.primary ? MONITORINFOF_PRIMARY : 0;
        if (info->cbSize == sizeof(MONITORINFOEXW)) {
            auto& named = static_cast<MONITORINFOEXW&>(*info);
            CopyText(output.name, named.szDevice, static_cast<int>(std::size(named.szDevice)));
        }
        return TRUE;
    }
    return FALSE;
} catch (const std::bad_alloc&) {
    return FALSE;
}

SHORT WINAPI GetKeyState(int key) {
    const auto connection = XConnection::Shared();
    const bool held = key == VK_CONTROL && connection && IsControlHeld(*connection);
    return held ? SHORT{-0x8000} : SHORT{0};
}

}  // extern "C"

// Rectangles, windows and monitors, cut to what is called. A window handle is the number of an X window, a monitor's that of a
// RandR output; neither is owned. The functions go to the server that the environment variable DISPLAY names, may be called on
// any thread, and fail where there is no server.
#pragma once

#include "windef.h"

#include "vimbrel/Export.h"

struct MONITORINFO {
    DWORD cbSize;
    RECT rcMonitor;
    RECT rcWork;
    DWORD dwFlags;
};

struct MONITORINFOEXW : MONITORINFO {
    WCHAR szDevice[32];
};

struct CURSORINFO {
    DWORD cbSize;
    DWORD flags;
    HCURSOR hCursor;
    POINT ptScreenPos;
};

struct ICONINFO {
    BOOL fIcon;
    DWORD xHotspot;
    DWORD yHotspot;
    HBITMAP hbmMask;
    HBITMAP hbmColor;
};

inline constexpr DWORD MONITORINFOF_PRIMARY = 1;
inline constexpr DWORD MONITOR_DEFAULTTONEAREST = 2;
inline constexpr DWORD CURSOR_SHOWING = 1;
inline constexpr UINT PW_CLIENTONLY = 1;
inline constexpr UINT PW_RENDERFULLCONTENT = 2;

using WNDENUMPROC = BOOL(CALLBACK*)(HWND window, LPARAM parameter);
using MONITORENUMPROC = BOOL(CALLBACK*)(HMONITOR monitor, HDC context, RECT* place, LPARAM parameter);

extern "C" {

// True for a rectangle without an inside; one with swapped sides counts as empty.
BOOL WINAPI IsRectEmpty(const RECT* rect);
BOOL WINAPI PtInRect(const RECT* rect, POINT point);
BOOL WINAPI OffsetRect(RECT* rect, int x, int y);
// False, with an empty result, if the two do not meet.
BOOL WINAPI IntersectRect(RECT* result, const RECT* first, const RECT* second);
// An empty rectangle adds nothing. False, with an empty result, if both are.
BOOL WINAPI UnionRect(RECT* result, const RECT* first, const RECT* second);

// The windows that a user sees as such, topmost first, until `visit` answers FALSE: with a window manager those that it manages,
// minimised ones too; without one the mapped windows on the root.
VIMBREL_API BOOL WINAPI EnumWindows(WNDENUMPROC visit, LPARAM parameter);
// The title, cut to `size` characters with the zero; its length.
VIMBREL_API int WINAPI GetWindowTextW(HWND window, LPWSTR text, int size);
// The class, the second of the two names that a window has for it.
VIMBREL_API int WINAPI GetClassNameW(HWND window, LPWSTR text, int size);
// (0, 0, width, height) of the window without what the window manager puts around it.
VIMBREL_API BOOL WINAPI GetClientRect(HWND window, RECT* rect);
// Whether the window is minimised or otherwise not mapped.
VIMBREL_API BOOL WINAPI IsIconic(HWND window);

// Calls `visit` for every output that shows a part of the desktop, once for outputs that show the same. `context` and `clip`
// must be null. FALSE if there is no server or `visit` answers FALSE.
VIMBREL_API BOOL WINAPI EnumDisplayMonitors(HDC context, const RECT* clip, MONITORENUMPROC visit, LPARAM parameter);
// `info->cbSize` says whether it is a MONITORINFO or a MONITORINFOEXW.
VIMBREL_API BOOL WINAPI GetMonitorInfoW(HMONITOR monitor, MONITORINFO* info);

}  // extern "C"

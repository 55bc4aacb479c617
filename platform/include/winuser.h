// Messages: a queue for each thread, posting, and the message loop.
//
// There is no input here and there are no windows with a screen: queues hold what was posted. A
// thread gets its queue with its first call of PeekMessage, GetMessage,
// MsgWaitForMultipleObjectsEx, PostQuitMessage or VimbrelMessageDescriptor; before that nothing can
// be posted to it.
//
// Rectangles, windows and monitors, cut to what is called. A window handle is the number of an X
// window, a monitor's that of a RandR output; neither is owned. The functions go to the server that
// the environment variable DISPLAY names, may be called on any thread, and fail where there is no
// server.
#pragma once

#include "windef.h"

#include "vimbrel/Export.h"

struct MSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;  // milliseconds, of timeGetTime's clock
    POINT pt;    // of the pointer: always 0, 0
};

inline constexpr UINT WM_NULL = 0x0;
inline constexpr UINT WM_QUIT = 0x12;
inline constexpr UINT WM_USER = 0x400;
inline constexpr UINT WM_APP = 0x8000;

inline constexpr UINT PM_NOREMOVE = 0x0;
inline constexpr UINT PM_REMOVE = 0x1;

// What a wait wakes for. Of these only posted messages exist.
inline constexpr DWORD QS_POSTMESSAGE = 0x8;
inline constexpr DWORD QS_ALLINPUT = 0x1CFF;

inline constexpr DWORD MWMO_INPUTAVAILABLE = 0x4;
inline constexpr DWORD MAXIMUM_WAIT_OBJECTS = 64;

extern "C" {

// The first message of the calling thread's queue for `window` (null: all) with a number from
// `first` to `last` (both 0: all); WM_QUIT comes whatever the filter, when nothing else is left.
// False if there is none; nothing is waited for. The forms W and A do the same, as no message here
// holds a text.
VIMBREL_API BOOL WINAPI PeekMessageW(MSG* message, HWND window, UINT first, UINT last, UINT remove);
VIMBREL_API BOOL WINAPI PeekMessageA(MSG* message, HWND window, UINT first, UINT last, UINT remove);

// The same with waiting, and the message is taken from the queue: 0 for WM_QUIT, else 1; -1 if the
// thread can have no queue.
VIMBREL_API BOOL WINAPI GetMessageW(MSG* message, HWND window, UINT first, UINT last);
VIMBREL_API BOOL WINAPI GetMessageA(MSG* message, HWND window, UINT first, UINT last);

// There are no keys to translate: false.
VIMBREL_API BOOL WINAPI TranslateMessage(const MSG* message);
// To the window's procedure. A message without a window is the loop's own business: 0.
VIMBREL_API LRESULT WINAPI DispatchMessageW(const MSG* message);
VIMBREL_API LRESULT WINAPI DispatchMessageA(const MSG* message);

// False for null.
VIMBREL_API BOOL WINAPI IsWindowUnicode(HWND window);

// From any thread. False if that thread is gone, has no queue, or has not taken the last 10000
// messages.
VIMBREL_API BOOL WINAPI PostThreadMessageW(DWORD thread, UINT message, WPARAM wparam,
                                           LPARAM lparam);
// To the calling thread.
VIMBREL_API void WINAPI PostQuitMessage(int exit_code);

// Waits until one of the events is signalled (WAIT_OBJECT_0 and its index) or the queue has a
// message (WAIT_OBJECT_0 and `count`); events come first. `flags` must be MWMO_INPUTAVAILABLE:
// messages that were there before the call count. WAIT_TIMEOUT, or WAIT_FAILED for handles that
// cannot be waited for, or more than MAXIMUM_WAIT_OBJECTS - 1 of them.
VIMBREL_API DWORD WINAPI MsgWaitForMultipleObjectsEx(DWORD count, const HANDLE* handles,
                                                     DWORD milliseconds, DWORD wake_mask,
                                                     DWORD flags);

// Not of the published names: a file descriptor that poll finds readable as long as the calling
// thread's queue has a message, for applications with a loop of their own. It is watched only,
// never read, and belongs to the thread; -1 if there is none to be had.
VIMBREL_API int VimbrelMessageDescriptor();

}  // extern "C"

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
using MONITORENUMPROC = BOOL(CALLBACK*)(HMONITOR monitor, HDC context, RECT* place,
                                        LPARAM parameter);

extern "C" {

// True for a rectangle without an inside; one with swapped sides counts as empty.
BOOL WINAPI IsRectEmpty(const RECT* rect);
BOOL WINAPI PtInRect(const RECT* rect, POINT point);
BOOL WINAPI OffsetRect(RECT* rect, int x, int y);
// False, with an empty result, if the two do not meet.
BOOL WINAPI IntersectRect(RECT* result, const RECT* first, const RECT* second);
// An empty rectangle adds nothing. False, with an empty result, if both are.
BOOL WINAPI UnionRect(RECT* result, const RECT* first, const RECT* second);

// The windows that a user sees as such, topmost first, until `visit` answers FALSE: with a window
// manager those that it manages, minimised ones too; without one the mapped windows on the root.
VIMBREL_API BOOL WINAPI EnumWindows(WNDENUMPROC visit, LPARAM parameter);
// The title, cut to `size` characters with the zero; its length.
VIMBREL_API int WINAPI GetWindowTextW(HWND window, LPWSTR text, int size);
// The class, the second of the two names that a window has for it.
VIMBREL_API int WINAPI GetClassNameW(HWND window, LPWSTR text, int size);
// (0, 0, width, height) of the window without what the window manager puts around it.
VIMBREL_API BOOL WINAPI GetClientRect(HWND window, RECT* rect);
// Whether the window is minimised or otherwise not mapped.
VIMBREL_API BOOL WINAPI IsIconic(HWND window);

// Calls `visit` for every output that shows a part of the desktop, once for outputs that show the
// same. `context` and `clip` must be null. FALSE if there is no server or `visit` answers FALSE.
VIMBREL_API BOOL WINAPI EnumDisplayMonitors(HDC context, const RECT* clip, MONITORENUMPROC visit,
                                            LPARAM parameter);
// `info->cbSize` says whether it is a MONITORINFO or a MONITORINFOEXW.
VIMBREL_API BOOL WINAPI GetMonitorInfoW(HMONITOR monitor, MONITORINFO* info);

}  // extern "C"

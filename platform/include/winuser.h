// Messages: a queue for each thread, posting, windows that only take messages, and the message
// loop.
//
// There is no input here: queues hold what was posted. A thread gets its queue with its first call
// of PeekMessage, GetMessage, MsgWaitForMultipleObjectsEx, PostQuitMessage, CreateWindowEx or
// VimbrelMessageDescriptor; before that nothing can be posted to it.
//
// The windows of CreateWindowEx are never visible, need no display server and belong to the thread
// that creates them: their procedures run there, in DispatchMessage. They end with that thread,
// without a further message.
//
// Rectangles, visible windows and monitors are cut to what is called. The handle of a visible
// window is the number of an X window, a monitor's that of a RandR output; neither is owned, and no
// window of CreateWindowEx has such a handle. The functions go to the server that the environment
// variable DISPLAY names, may be called on any thread, and fail where there is no server.
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
inline constexpr UINT WM_CREATE = 0x1;
inline constexpr UINT WM_DESTROY = 0x2;
inline constexpr UINT WM_QUIT = 0x12;
inline constexpr UINT WM_NCCREATE = 0x81;
inline constexpr UINT WM_NCDESTROY = 0x82;
inline constexpr UINT WM_USER = 0x400;
inline constexpr UINT WM_APP = 0x8000;

inline constexpr UINT CS_DBLCLKS = 0x8;
inline constexpr DWORD WS_EX_NOACTIVATE = 0x8000000;
inline constexpr int GWLP_USERDATA = -21;
// The parent of windows that only take messages.
#define HWND_MESSAGE (reinterpret_cast<HWND>(static_cast<LONG_PTR>(-3)))

using WNDPROC = LRESULT(CALLBACK*)(HWND window, UINT message, WPARAM wparam, LPARAM lparam);

struct WNDCLASSW {
    UINT style;
    WNDPROC lpfnWndProc;
    int cbClsExtra;
    int cbWndExtra;
    HINSTANCE hInstance;
    HICON hIcon;
    HCURSOR hCursor;
    HBRUSH hbrBackground;
    LPCWSTR lpszMenuName;
    LPCWSTR lpszClassName;
};

// What `lparam` of WM_NCCREATE and WM_CREATE points to.
struct CREATESTRUCTW {
    LPVOID lpCreateParams;
    HINSTANCE hInstance;
    HMENU hMenu;
    HWND hwndParent;
    int cy;
    int cx;
    int y;
    int x;
    LONG style;
    LPCWSTR lpszName;
    LPCWSTR lpszClass;
    DWORD dwExStyle;
};

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
// Calls the window's procedure and returns its result: 0 for a message without a window, for a
// window that is gone, and on a thread that does not own the window.
VIMBREL_API LRESULT WINAPI DispatchMessageW(const MSG* message);
VIMBREL_API LRESULT WINAPI DispatchMessageA(const MSG* message);

// Whether CreateWindowEx made the window and it still exists.
VIMBREL_API BOOL WINAPI IsWindowUnicode(HWND window);

// The same number, from 0xC000 to 0xFFFF, for the same text in upper or lower case; 0 for an empty
// text, and if all numbers are taken. The number lasts as long as the process.
VIMBREL_API UINT WINAPI RegisterWindowMessageW(LPCWSTR text);
// Takes the procedure and the name, which it copies. 0 if there is a class of that name.
VIMBREL_API ATOM WINAPI RegisterClassW(const WNDCLASSW* window_class);
// The parent must be HWND_MESSAGE; styles, place, title and menu only reach the CREATESTRUCTW. The
// procedure gets WM_NCCREATE, where 0 makes the call fail, and WM_CREATE, where -1 does. Null for
// an unknown class, another parent, or a thread that can have no queue.
VIMBREL_API HWND WINAPI CreateWindowExW(DWORD extended_style, LPCWSTR class_name, LPCWSTR title,
                                        DWORD style, int x, int y, int width, int height,
                                        HWND parent, HMENU menu, HINSTANCE instance,
                                        LPVOID parameter);
// Sends WM_DESTROY and WM_NCDESTROY; messages that wait for the window are lost. False on a thread
// that does not own the window.
VIMBREL_API BOOL WINAPI DestroyWindow(HWND window);
// 1 for WM_NCCREATE, else 0.
VIMBREL_API LRESULT WINAPI DefWindowProcW(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
// `index` must be GWLP_USERDATA: a value of the application's, at first 0. The second returns the
// value before. Both return 0 for another index or an unknown window, and may run on any thread.
VIMBREL_API LONG_PTR WINAPI GetWindowLongPtrW(HWND window, int index);
VIMBREL_API LONG_PTR WINAPI SetWindowLongPtrW(HWND window, int index, LONG_PTR value);

// From any thread, in the order of the calls. A null window stands for the calling thread. False if
// the window is gone or its thread has not taken the last 10000 messages.
VIMBREL_API BOOL WINAPI PostMessageW(HWND window, UINT message, WPARAM wparam, LPARAM lparam);

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

inline constexpr int VK_CONTROL = 0x11;

extern "C" {

// Below 0 while the key is held; 0 without a server, and for other keys than VK_CONTROL. Inside the
// library only.
SHORT WINAPI GetKeyState(int key);

}  // extern "C"

// The published calls on windows that only take messages.
#include <windows.h>

#include "platform/linux/messages/WindowTable.h"

using Vimbrel::WindowTable;

namespace {

LRESULT Send(HWND window, UINT message, LPARAM lparam) {
    const WNDPROC procedure = WindowTable::Get().ProcedureOnOwner(window);
    return procedure ? procedure(window, message, 0, lparam) : 0;
}

}  // namespace

extern "C" {

UINT WINAPI RegisterWindowMessageW(LPCWSTR text) {
    return text ? WindowTable::Get().RegisterMessage(text) : 0;
}

ATOM WINAPI RegisterClassW(const WNDCLASSW* window_class) {
    if (!window_class || !window_class->lpszClassName) return 0;
    return WindowTable::Get().RegisterClass(window_class->lpszClassName, window_class->lpfnWndProc);
}

HWND WINAPI CreateWindowExW(DWORD extended_style, LPCWSTR class_name, LPCWSTR title, DWORD style,
                            int x, int y, int width, int height, HWND parent, HMENU menu,
                            HINSTANCE instance, LPVOID parameter) {
    if (!class_name || parent != HWND_MESSAGE) return nullptr;
    WindowTable& table = WindowTable::Get();
    HWND window = table.Add(class_name);
    if (!window) return nullptr;
    CREATESTRUCTW creation{
        parameter, instance,   menu,          parent, height, width, y, x, static_cast<LONG>(style),
        title,     class_name, extended_style};
    const auto lparam = reinterpret_cast<LPARAM>(&creation);
    if (Send(window, WM_NCCREATE, lparam) == 0 || Send(window, WM_CREATE, lparam) == -1) {
        Send(window, WM_NCDESTROY, 0);
        table.Remove(window);
        return nullptr;
    }
    // A procedure may have destroyed the window again.
    return table.Has(window) ? window : nullptr;
}

BOOL WINAPI DestroyWindow(HWND window) {
    WindowTable& table = WindowTable::Get();
    if (!table.BeginDestroying(window)) return FALSE;
    Send(window, WM_DESTROY, 0);
    Send(window, WM_NCDESTROY, 0);
    return table.Remove(window);
}

LRESULT WINAPI DefWindowProcW(HWND, UINT message, WPARAM, LPARAM) { return message == WM_NCCREATE; }

LRESULT WINAPI DispatchMessageW(const MSG* message) {
    const WNDPROC procedure = WindowTable::Get().ProcedureOnOwner(message->hwnd);
    return procedure ? procedure(message->hwnd, message->message, message->wParam, message->lParam)
                     : 0;
}

LRESULT WINAPI DispatchMessageA(const MSG* message) { return DispatchMessageW(message); }

BOOL WINAPI IsWindowUnicode(HWND window) { return WindowTable::Get().Has(window); }

LONG_PTR WINAPI GetWindowLongPtrW(HWND window, int index) {
    return index == GWLP_USERDATA ? WindowTable::Get().UserData(window) : 0;
}

LONG_PTR WINAPI SetWindowLongPtrW(HWND window, int index, LONG_PTR value) {
    return index == GWLP_USERDATA ? WindowTable::Get().ExchangeUserData(window, value) : 0;
}

BOOL WINAPI PostMessageW(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
    if (!window) return PostThreadMessageW(GetCurrentThreadId(), message, wparam, lparam);
    return WindowTable::Get().Post(window, message, wparam, lparam);
}

}  // extern "C"

#include "vimbrel/MediaMessageWindow.h"

namespace Vimbrel {

namespace {

constexpr wchar_t class_name[] = L"79CF929F-AF92-429B-83DE-BA6F7668C855";

MediaMessageWindow* OwnerOf(HWND window) {
    return reinterpret_cast<MediaMessageWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
}

}  // namespace

MediaMessageWindow::MediaMessageWindow()
    : graphMessage(RegisterWindowMessageW(L"AADF1ACF-9550-46FA-A831-98DF73C4A86A")),
      stateMessage(RegisterWindowMessageW(L"63890A38-7BF6-4F4A-A00D-33F38DE7DDCC")) {}

MediaMessageWindow::~MediaMessageWindow() {
    // The window must not report to an object that is gone. A copy does not own the window.
    if (!hwnd || OwnerOf(hwnd) != this) return;
    SetWindowLongPtrW(hwnd, GWLP_USERDATA, 0);
    DestroyWindow(hwnd);
}

void MediaMessageWindow::Create(HINSTANCE instance) {
    WNDCLASSW window_class{};
    window_class.style = CS_DBLCLKS;
    window_class.lpfnWndProc = WindowProc;
    window_class.hInstance = instance;
    window_class.lpszClassName = class_name;
    // Fails from the second window on: the class is there already.
    RegisterClassW(&window_class);
    auto* const before = hwnd;
    auto* const made = CreateWindowExW(WS_EX_NOACTIVATE, class_name, nullptr, 0, 0, 0, 0, 0,
                                       HWND_MESSAGE, nullptr, instance, this);
    // Nobody destroys the older window any more, which must not outlive its object's address.
    if (made && before && before != made && OwnerOf(before) == this)
        SetWindowLongPtrW(before, GWLP_USERDATA, 0);
}

void MediaMessageWindow::Destroy() {
    // Another thread cannot destroy it. A late message must not reach an object that is gone.
    if (hwnd && !DestroyWindow(hwnd)) SetWindowLongPtrW(hwnd, GWLP_USERDATA, 0);
    hwnd = nullptr;
    dispatcher = nullptr;
}

LRESULT CALLBACK MediaMessageWindow::WindowProc(HWND window, UINT message, WPARAM wParam,
                                                LPARAM lParam) {
    if (message == WM_CREATE) {
        void* const parameter = reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams;
        static_cast<MediaMessageWindow*>(parameter)->hwnd = window;
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(parameter));
    }
    MediaMessageWindow* const owner = OwnerOf(window);
    return owner ? owner->OnProc(window, message, wParam, lParam)
                 : DefWindowProcW(window, message, wParam, lParam);
}

LRESULT MediaMessageWindow::OnProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == graphMessage && dispatcher) return dispatcher->OnGraphEvent();
    if (dispatcher) {
        bool handled = false;
        const LRESULT result = dispatcher->OnMessage(message, wParam, lParam, &handled);
        if (handled) return result;
    }
    if (message == WM_DESTROY) hwnd = nullptr;
    return DefWindowProcW(window, message, wParam, lParam);
}

}  // namespace Vimbrel

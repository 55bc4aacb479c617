#include <gtest/gtest.h>

#include <vector>

#include "tests/support/TestWindow.h"

namespace Vimbrel::test {

namespace {

constexpr wchar_t class_name[] = L"TestClass";

void Pump() {
    // Until the system has been quiet for a while: it answers through its own server.
    for (int quiet = 0; quiet < 5; ++quiet) {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            DispatchMessageW(&message);
            quiet = 0;
        }
        Sleep(20);
    }
}

LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM w, LPARAM l) {
    if (message == WM_PAINT) {
        const auto* owner =
            reinterpret_cast<const TestWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        PAINTSTRUCT paint;
        const HDC context = BeginPaint(window, &paint);
        RECT client;
        GetClientRect(window, &client);
        std::vector<std::uint32_t> pixels;
        for (int y = 0; y < client.bottom; ++y) {
            for (int x = 0; x < client.right; ++x)
                pixels.push_back(owner ? owner->Expected(x, y) : 0);
        }
        BITMAPINFO info{};
        info.bmiHeader = {
            sizeof(BITMAPINFOHEADER), client.right, -client.bottom, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
        SetDIBitsToDevice(context, 0, 0, static_cast<DWORD>(client.right),
                          static_cast<DWORD>(client.bottom), 0, 0, 0,
                          static_cast<UINT>(client.bottom), pixels.data(), &info, DIB_RGB_COLORS);
        EndPaint(window, &paint);
        return 0;
    }
    return DefWindowProcW(window, message, w, l);
}

void RegisterOnce() {
    static const bool registered = [] {
        WNDCLASSW description{};
        description.lpfnWndProc = Procedure;
        description.lpszClassName = class_name;
        description.hCursor = LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
        return RegisterClassW(&description) != 0;
    }();
    EXPECT_TRUE(registered);
}

}  // namespace

struct TestWindow::Native {
    HWND window = nullptr;
};

TestWindow::TestWindow(int x, int y, int window_width, int window_height, std::uint32_t window_seed,
                       const std::string& title)
    : native(std::make_unique<Native>()),
      width(window_width),
      height(window_height),
      seed(window_seed) {
    RegisterOnce();
    const std::wstring wide(title.begin(), title.end());
    native->window =
        CreateWindowExW(WS_EX_TOOLWINDOW | WS_EX_TOPMOST, class_name, wide.c_str(), WS_POPUP, x, y,
                        width, height, nullptr, nullptr, nullptr, nullptr);
    EXPECT_TRUE(native->window);
    SetWindowLongPtrW(native->window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    ShowWindow(native->window, SW_SHOWNA);
    Raise();
}

TestWindow::~TestWindow() {
    if (IsWindow(native->window)) Close();
}

HWND TestWindow::Handle() const { return native->window; }

void TestWindow::Resize(int new_width, int new_height) {
    width = new_width;
    height = new_height;
    SetWindowPos(native->window, nullptr, 0, 0, width, height,
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
    InvalidateRect(native->window, nullptr, FALSE);
    Pump();
}

void TestWindow::Raise() {
    SetWindowPos(native->window, HWND_TOPMOST, 0, 0, 0, 0,
                 SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
    InvalidateRect(native->window, nullptr, FALSE);
    Pump();
}

void TestWindow::Minimise() {
    ShowWindow(native->window, SW_MINIMIZE);
    Pump();
}

void TestWindow::Close() {
    DestroyWindow(native->window);
    Pump();
}

void MovePointer(int x, int y) {
    SetCursorPos(x, y);
    Pump();
}

}  // namespace Vimbrel::test

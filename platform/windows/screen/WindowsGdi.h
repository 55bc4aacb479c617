// GDI as it is.
#pragma once

#include "ScreenCapture/system/Gdi.h"

namespace Vimbrel {

class WindowsGdi final : public Gdi {
public:
    HWND GetDesktopWindow() override { return ::GetDesktopWindow(); }
    HDC GetDC(HWND window) override { return ::GetDC(window); }
    HDC GetWindowDC(HWND window) override { return ::GetWindowDC(window); }
    int ReleaseDC(HWND window, HDC context) override { return ::ReleaseDC(window, context); }
    HDC CreateCompatibleDC(HDC context) override { return ::CreateCompatibleDC(context); }
    BOOL DeleteDC(HDC context) override { return ::DeleteDC(context); }
    int GetDeviceCaps(HDC context, int index) override { return ::GetDeviceCaps(context, index); }
    HBITMAP CreateDIBSection(HDC context, const BITMAPINFO* info, void** bits) override {
        return ::CreateDIBSection(context, info, DIB_RGB_COLORS, bits, nullptr, 0);
    }
    HGDIOBJ SelectObject(HDC context, HGDIOBJ object) override {
        return ::SelectObject(context, object);
    }
    BOOL DeleteObject(HGDIOBJ object) override { return ::DeleteObject(object); }
    // The bits are read next: what the system still holds back has to be in them.
    BOOL BitBlt(HDC to, int x, int y, int width, int height, HDC from, int from_x, int from_y,
                DWORD operation) override {
        return ::BitBlt(to, x, y, width, height, from, from_x, from_y, operation) && GdiFlush();
    }
    int SetStretchBltMode(HDC context, int mode) override {
        return ::SetStretchBltMode(context, mode);
    }
    BOOL StretchBlt(HDC to, int x, int y, int width, int height, HDC from, int from_x, int from_y,
                    int from_width, int from_height, DWORD operation) override {
        return ::StretchBlt(to, x, y, width, height, from, from_x, from_y, from_width, from_height,
                            operation) &&
               GdiFlush();
    }
    BOOL PrintWindow(HWND window, HDC to, UINT flags) override {
        return ::PrintWindow(window, to, flags) && GdiFlush();
    }
    BOOL GetCursorPos(POINT* position) override { return ::GetCursorPos(position); }
    BOOL GetCursorInfo(CURSORINFO* info) override { return ::GetCursorInfo(info); }
    BOOL GetIconInfo(HICON icon, ICONINFO* info) override { return ::GetIconInfo(icon, info); }
    BOOL DrawIcon(HDC to, int x, int y, HICON icon) override {
        return ::DrawIcon(to, x, y, icon) && GdiFlush();
    }
};

}  // namespace Vimbrel

// Device contexts, bitmaps and the cursor as the capture back ends use them. The operations have
// the system's names and behaviour. A test may replace the system. Handles belong to the thread
// that made them.
#pragma once

#include <windows.h>

namespace Vimbrel {

class Gdi {
public:
    virtual HWND GetDesktopWindow() = 0;
    // Of the client area; null stands for the screen.
    virtual HDC GetDC(HWND window) = 0;
    virtual HDC GetWindowDC(HWND window) = 0;
    virtual int ReleaseDC(HWND window, HDC context) = 0;
    virtual HDC CreateCompatibleDC(HDC context) = 0;
    virtual BOOL DeleteDC(HDC context) = 0;
    virtual int GetDeviceCaps(HDC context, int index) = 0;

    // *bits is valid as long as the bitmap, and starts as zeros.
    virtual HBITMAP CreateDIBSection(HDC context, const BITMAPINFO* info, void** bits) = 0;
    virtual HGDIOBJ SelectObject(HDC context, HGDIOBJ object) = 0;
    virtual BOOL DeleteObject(HGDIOBJ object) = 0;

    // When these return, the bitmap's bits hold the picture.
    virtual BOOL BitBlt(HDC to, int x, int y, int width, int height, HDC from, int from_x,
                        int from_y, DWORD operation) = 0;
    virtual int SetStretchBltMode(HDC context, int mode) = 0;
    virtual BOOL StretchBlt(HDC to, int x, int y, int width, int height, HDC from, int from_x,
                            int from_y, int from_width, int from_height, DWORD operation) = 0;
    virtual BOOL PrintWindow(HWND window, HDC to, UINT flags) = 0;

    virtual BOOL GetCursorPos(POINT* position) = 0;
    virtual BOOL GetCursorInfo(CURSORINFO* info) = 0;
    // The caller deletes the two bitmaps, which may be null.
    virtual BOOL GetIconInfo(HICON icon, ICONINFO* info) = 0;
    virtual BOOL DrawIcon(HDC to, int x, int y, HICON icon) = 0;

protected:
    ~Gdi() = default;
};

}  // namespace Vimbrel

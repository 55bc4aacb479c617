// Device contexts, bitmaps and the cursor on the X server.
#pragma once

#include "ScreenCapture/system/Gdi.h"

namespace Vimbrel {

// Holds nothing itself: contexts and bitmaps belong to their makers, and the last cursor shape to
// the thread that asked for it.
class LinuxGdi final : public Gdi {
public:
    HWND GetDesktopWindow() override;
    HDC GetDC(HWND window) override;
    HDC GetWindowDC(HWND window) override;
    int ReleaseDC(HWND window, HDC context) override;
    HDC CreateCompatibleDC(HDC context) override;
    BOOL DeleteDC(HDC context) override;
    int GetDeviceCaps(HDC context, int index) override;
    HBITMAP CreateDIBSection(HDC context, const BITMAPINFO* info, void** bits) override;
    HGDIOBJ SelectObject(HDC context, HGDIOBJ object) override;
    BOOL DeleteObject(HGDIOBJ object) override;
    BOOL BitBlt(HDC to, int x, int y, int width, int height, HDC from, int from_x, int from_y,
                DWORD operation) override;
    int SetStretchBltMode(HDC context, int mode) override;
    BOOL StretchBlt(HDC to, int x, int y, int width, int height, HDC from, int from_x, int from_y,
                    int from_width, int from_height, DWORD operation) override;
    BOOL PrintWindow(HWND window, HDC to, UINT flags) override;
    BOOL GetCursorPos(POINT* position) override;
    BOOL GetCursorInfo(CURSORINFO* info) override;
    BOOL GetIconInfo(HICON icon, ICONINFO* info) override;
    BOOL DrawIcon(HDC to, int x, int y, HICON icon) override;
};

}  // namespace Vimbrel

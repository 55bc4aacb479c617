#include "ScreenCapture/Cursor.h"

namespace Vimbrel {

void DrawSystemCursor(Gdi& gdi, HDC context, const RECT& rect) {
    POINT position{};
    if (!gdi.GetCursorPos(&position) || !PtInRect(&rect, position)) return;
    position.x -= rect.left;
    position.y -= rect.top;
    CURSORINFO cursor{};
    cursor.cbSize = sizeof cursor;
    if (!gdi.GetCursorInfo(&cursor) || cursor.flags != CURSOR_SHOWING) return;
    ICONINFO icon{};
    if (!gdi.GetIconInfo(cursor.hCursor, &icon)) return;
    if (icon.hbmMask) gdi.DeleteObject(icon.hbmMask);
    if (icon.hbmColor) gdi.DeleteObject(icon.hbmColor);
    gdi.DrawIcon(context, static_cast<int>(position.x - static_cast<LONG>(icon.xHotspot)),
                 static_cast<int>(position.y - static_cast<LONG>(icon.yHotspot)), cursor.hCursor);
}

BITMAPINFO TopDownBitmap(LONG width, LONG height) {
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    info.bmiHeader.biSizeImage = static_cast<DWORD>(height) * static_cast<DWORD>(width) * 4;
    return info;
}

}  // namespace Vimbrel

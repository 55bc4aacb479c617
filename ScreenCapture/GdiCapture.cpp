#include "ScreenCapture/GdiCapture.h"

#include <utility>

#include "ScreenCapture/Cursor.h"

namespace Vimbrel {

GdiCapture::GdiCapture(Gdi& system_gdi) : gdi(system_gdi) {}

GdiCapture::~GdiCapture() { CleanUp(); }

void GdiCapture::CleanUp() {
    bits = nullptr;
    if (memoryDC) gdi.DeleteDC(std::exchange(memoryDC, nullptr));
    if (bitmap) gdi.DeleteObject(std::exchange(bitmap, nullptr));
    if (screenDC) gdi.ReleaseDC(desktopWindow, std::exchange(screenDC, nullptr));
}

void GdiCapture::Start(const RECT& capture_rect) {
    CleanUp();
    rect = capture_rect;
    desktopWindow = gdi.GetDesktopWindow();
    screenDC = gdi.GetDC(desktopWindow);
    memoryDC = gdi.CreateCompatibleDC(screenDC);
    // A rectangle with swapped sides has no bitmap: its frames stay black.
    if (!IsRectEmpty(&rect)) {
        const BITMAPINFO info = TopDownBitmap(rect.right - rect.left, rect.bottom - rect.top);
        bitmap = gdi.CreateDIBSection(screenDC, &info, &bits);
    }
    if (!bitmap) bits = nullptr;
    if (memoryDC && bitmap) gdi.SelectObject(memoryDC, bitmap);
}

void GdiCapture::Capture() {
    if (!bits || !memoryDC) return;
    gdi.BitBlt(memoryDC, 0, 0, static_cast<int>(rect.right - rect.left),
               static_cast<int>(rect.bottom - rect.top), screenDC, static_cast<int>(rect.left),
               static_cast<int>(rect.top), SRCCOPY | CAPTUREBLT);
    if (drawCursor) DrawSystemCursor(gdi, memoryDC, rect);
}

}  // namespace Vimbrel

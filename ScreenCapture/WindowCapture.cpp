#include "ScreenCapture/WindowCapture.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "ScreenCapture/Cursor.h"
#include "ScreenCapture/system/CaptureSystem.h"

namespace Vimbrel {

WindowCapture::WindowCapture(const CaptureSystem& capture_system) : system(capture_system) {
    GetOsVersion(system.windows, versionMajor, versionMinor, versionBuild, versionRevision);
}

WindowCapture::~WindowCapture() { CleanUp(); }

void WindowCapture::CleanUp() {
    Gdi& gdi = system.gdi;
    if (scaledDC) gdi.DeleteDC(std::exchange(scaledDC, nullptr));
    if (scaledBitmap) gdi.DeleteObject(std::exchange(scaledBitmap, nullptr));
    scaledBits = nullptr;
    if (memoryDC) gdi.DeleteDC(std::exchange(memoryDC, nullptr));
    if (bitmap) gdi.DeleteObject(std::exchange(bitmap, nullptr));
    if (windowDC) gdi.ReleaseDC(window, std::exchange(windowDC, nullptr));
    useBitBlt = false;
    bits = nullptr;
}

void WindowCapture::Start(HWND captured_window) {
    // Not only with bits: an attempt that failed half way has contexts too.
    CleanUp();
    Gdi& gdi = system.gdi;
    window = captured_window;
    RECT client{};
    system.windows.GetClientRect(window, &client);
    width = std::abs(client.right - client.left);
    height = std::abs(client.bottom - client.top);
    windowDC = gdi.GetWindowDC(window);
    memoryDC = gdi.CreateCompatibleDC(windowDC);
    if (memoryDC && width > 0 && height > 0) {
        const BITMAPINFO info = TopDownBitmap(width, height);
        bitmap = gdi.CreateDIBSection(memoryDC, &info, &bits);
    }
    if (!memoryDC || !bitmap) {
        bits = nullptr;
        return;
    }
    gdi.SelectObject(memoryDC, bitmap);
    gdi.SetStretchBltMode(memoryDC, HALFTONE);

    HDC screen = gdi.GetDC(nullptr);
    const std::int32_t system_percent = gdi.GetDeviceCaps(screen, LOGPIXELSX) * 100 / 96;
    if (screen) gdi.ReleaseDC(nullptr, screen);
    const std::int32_t window_percent = DpiPercent(system.windows, gdi, *this, window);
    if (window_percent != system_percent) MakeScaledBitmap(window_percent, system_percent);
    useBitBlt = versionMajor > 6 || (versionMajor == 6 && versionMinor != 0);
}

void WindowCapture::MakeScaledBitmap(std::int32_t window_percent, std::int32_t system_percent) {
    Gdi& gdi = system.gdi;
    scaledWidth = MulDiv(static_cast<int>(width), window_percent, system_percent);
    scaledHeight = MulDiv(static_cast<int>(height), window_percent, system_percent);
    scaledDC = gdi.CreateCompatibleDC(windowDC);
    if (!scaledDC) return;
    const BITMAPINFO info = TopDownBitmap(scaledWidth, scaledHeight);
    scaledBitmap = gdi.CreateDIBSection(scaledDC, &info, &scaledBits);
    if (scaledBitmap) gdi.SelectObject(scaledDC, scaledBitmap);
}

const BYTE* WindowCapture::Capture(LONG* captured_width, LONG* captured_height) {
    if (!bits || !window || !system.windows.IsWindow(window)) return nullptr;
    *captured_width = width;
    *captured_height = height;
    HWND top = window;
    while (HWND parent = system.windows.GetParent(top)) top = parent;
    if (system.windows.IsIconic(top)) return static_cast<const BYTE*>(bits);
    RECT client{};
    if (!system.windows.GetClientRect(window, &client) || IsRectEmpty(&client))
        return static_cast<const BYTE*>(bits);
    if (client.right - client.left != width || client.bottom - client.top != height) {
        Start(window);
        *captured_width = width;
        *captured_height = height;
        if (!bits) return nullptr;
    }

    if (scaledDC) {
        CaptureTo(scaledDC);
        system.gdi.StretchBlt(memoryDC, 0, 0, static_cast<int>(width), static_cast<int>(height),
                              scaledDC, 0, 0, static_cast<int>(scaledWidth),
                              static_cast<int>(scaledHeight), SRCCOPY);
    } else {
        CaptureTo(memoryDC);
    }
    std::uint32_t first_pixel = 0;
    std::memcpy(&first_pixel, bits, sizeof first_pixel);
    // A window that BitBlt cannot copy is black everywhere. Kept: one black pixel is taken for that
    // until a resize, because searching a frame that is black there would cost time each time.
    if (useBitBlt && first_pixel == 0) useBitBlt = false;
    if (drawCursor) {
        // Kept: the outer corner, not that of the client area, because hosts rely on the place.
        RECT outer{};
        system.windows.GetWindowRect(window, &outer);
        DrawSystemCursor(system.gdi, memoryDC, outer);
    }
    return static_cast<const BYTE*>(bits);
}

// Kept: BitBlt copies the unscaled size into the scaled bitmap too, because hosts rely on the
// section that it shows.
void WindowCapture::CaptureTo(HDC context) {
    if (useBitBlt) {
        system.gdi.BitBlt(context, 0, 0, static_cast<int>(width), static_cast<int>(height),
                          windowDC, 0, 0, SRCCOPY);
        return;
    }
    const bool renders_full_content = versionMajor > 6 || (versionMajor == 6 && versionMinor >= 3);
    system.gdi.PrintWindow(window, context,
                           renders_full_content ? PW_RENDERFULLCONTENT : PW_CLIENTONLY);
}

}  // namespace Vimbrel

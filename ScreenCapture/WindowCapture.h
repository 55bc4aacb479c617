// The client area of one window, also while others cover it, at its unscaled size.
#pragma once

#include "ScreenCapture/OsVersion.h"
#include "ScreenCapture/system/Gdi.h"

namespace Vimbrel {

struct CaptureSystem;

// All calls come from one thread at a time.
class WindowCapture : private OsVersion {
public:
    // Reads the version of the system.
    explicit WindowCapture(const CaptureSystem& capture_system);
    ~WindowCapture();
    WindowCapture(const WindowCapture&) = delete;
    WindowCapture& operator=(const WindowCapture&) = delete;

    void Start(HWND captured_window);
    // 32-bit rows of the size that is given back, top down; null only if the window is gone or its
    // bitmap could not be made. A minimised window gives its last frame.
    const BYTE* Capture(LONG* captured_width, LONG* captured_height);

private:
    void MakeScaledBitmap(std::int32_t window_percent, std::int32_t system_percent);
    void CaptureTo(HDC context);
    void CleanUp();

    HDC scaledDC = nullptr;  // this and the next four: only for a window that is scaled
    HBITMAP scaledBitmap = nullptr;
    void* scaledBits = nullptr;
    LONG scaledWidth = 0;
    LONG scaledHeight = 0;
    HDC windowDC = nullptr;
    HDC memoryDC = nullptr;
    HBITMAP bitmap = nullptr;
    void* bits = nullptr;
    LONG width = 0;
    LONG height = 0;
    HWND window = nullptr;

public:
    bool drawCursor = true;

private:
    bool useBitBlt = false;  // rather than PrintWindow
    const CaptureSystem& system;
};

}  // namespace Vimbrel

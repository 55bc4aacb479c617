// A rectangle of the desktop, copied with BitBlt.
#pragma once

#include "ScreenCapture/system/Gdi.h"

namespace Vimbrel {

// All calls come from one thread at a time.
class GdiCapture {
public:
    explicit GdiCapture(Gdi& system_gdi);
    ~GdiCapture();
    GdiCapture(const GdiCapture&) = delete;
    GdiCapture& operator=(const GdiCapture&) = delete;

    // Frees an earlier bitmap and makes one for the rectangle, in desktop coordinates. Without
    // success GetBits stays null.
    void Start(const RECT& capture_rect);
    // Into GetBits. Without success they stay as they were.
    void Capture();
    // 32-bit rows of the rectangle's size, top down; null if there is no bitmap.
    const BYTE* GetBits() const { return static_cast<const BYTE*>(bits); }

private:
    void CleanUp();

    HWND desktopWindow = nullptr;
    HDC screenDC = nullptr;
    HDC memoryDC = nullptr;
    HBITMAP bitmap = nullptr;
    void* bits = nullptr;
    RECT rect{};

public:
    BOOL drawCursor = TRUE;

private:
    Gdi& gdi;
};

}  // namespace Vimbrel

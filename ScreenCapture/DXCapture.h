// A rectangle of the screen out of the Direct3D 9 front buffer.
#pragma once

#include "ScreenCapture/system/Gdi.h"
#include "ScreenCapture/system/GraphicsSystem.h"
#include "com/ComPtr.h"

namespace Vimbrel {

struct CaptureSystem;

// All calls come from one thread at a time.
class DXCapture {
public:
    explicit DXCapture(const CaptureSystem& capture_system);
    ~DXCapture();
    DXCapture(const DXCapture&) = delete;
    DXCapture& operator=(const DXCapture&) = delete;

    // `capture_rect` in desktop coordinates; what of it is outside of the screen stays black.
    HRESULT InitCapture(const RECT& capture_rect);
    // 32-bit rows of the rectangle's size, top down; null if the screen could not be read.
    const BYTE* Capture();

private:
    HRESULT MakeBitmap();
    HRESULT MakeDevice();
    void CleanUp();

    ComPtr<IDirect3D9> d3d;
    ComPtr<IDirect3DDevice9> device;
    ComPtr<IDirect3DSurface9> surface;
    HDC memoryDC = nullptr;
    HBITMAP bitmap = nullptr;
    LONG screenWidth = 0;
    LONG screenHeight = 0;
    void* bits = nullptr;
    RECT rect{};

public:
    bool drawCursor = true;

private:
    const CaptureSystem& system;
};

}  // namespace Vimbrel

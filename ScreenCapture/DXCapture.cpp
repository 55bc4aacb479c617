#include "ScreenCapture/DXCapture.h"

#include <cstring>
#include <utility>

#include "ScreenCapture/Cursor.h"
#include "ScreenCapture/system/CaptureSystem.h"

namespace Vimbrel {

DXCapture::DXCapture(const CaptureSystem& capture_system) : system(capture_system) {}

DXCapture::~DXCapture() { CleanUp(); }

void DXCapture::CleanUp() {
    bits = nullptr;
    if (memoryDC) system.gdi.DeleteDC(std::exchange(memoryDC, nullptr));
    if (bitmap) system.gdi.DeleteObject(std::exchange(bitmap, nullptr));
    surface.Reset();
    device.Reset();
    d3d.Reset();
}

HRESULT DXCapture::InitCapture(const RECT& capture_rect) {
    if (bits) CleanUp();
    rect = capture_rect;
    const HRESULT hr = MakeBitmap();
    return FAILED(hr) ? hr : MakeDevice();
}

HRESULT DXCapture::MakeBitmap() {
    Gdi& gdi = system.gdi;
    HWND desktop = gdi.GetDesktopWindow();
    HDC screen = gdi.GetDC(desktop);
    memoryDC = gdi.CreateCompatibleDC(screen);
    if (memoryDC && !IsRectEmpty(&rect)) {
        const BITMAPINFO info = TopDownBitmap(rect.right - rect.left, rect.bottom - rect.top);
        bitmap = gdi.CreateDIBSection(memoryDC, &info, &bits);
    }
    if (screen) gdi.ReleaseDC(desktop, screen);
    if (!memoryDC || !bitmap) {
        CleanUp();
        return E_FAIL;
    }
    gdi.SelectObject(memoryDC, bitmap);
    return S_OK;
}

HRESULT DXCapture::MakeDevice() {
    d3d.Attach(system.graphics.Direct3DCreate9(D3D_SDK_VERSION));
    if (!d3d) return E_FAIL;
    D3DDISPLAYMODE mode{};
    HRESULT hr = d3d->GetAdapterDisplayMode(D3DADAPTER_DEFAULT, &mode);
    if (FAILED(hr)) return hr;
    screenWidth = static_cast<LONG>(mode.Width);
    screenHeight = static_cast<LONG>(mode.Height);

    D3DPRESENT_PARAMETERS parameters{};
    parameters.BackBufferWidth = mode.Width;
    parameters.BackBufferHeight = mode.Height;
    parameters.BackBufferFormat = mode.Format;
    parameters.BackBufferCount = 0;
    parameters.MultiSampleType = D3DMULTISAMPLE_NONE;
    parameters.SwapEffect = D3DSWAPEFFECT_DISCARD;
    parameters.Windowed = TRUE;
    parameters.EnableAutoDepthStencil = FALSE;
    parameters.Flags = D3DPRESENTFLAG_LOCKABLE_BACKBUFFER;
    parameters.PresentationInterval = D3DPRESENT_INTERVAL_DEFAULT;
    hr = d3d->CreateDevice(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, system.windows.GetActiveWindow(),
                           D3DCREATE_SOFTWARE_VERTEXPROCESSING, &parameters, device.Put());
    if (FAILED(hr)) return hr;
    hr = device->CreateOffscreenPlainSurface(mode.Width, mode.Height, D3DFMT_A8R8G8B8,
                                             D3DPOOL_SCRATCH, surface.Put(), nullptr);
    return FAILED(hr) ? hr : S_OK;
}

const BYTE* DXCapture::Capture() {
    if (!device || !surface) return nullptr;
    // The result is not checked: without a new picture the last one stands.
    device->GetFrontBufferData(0, surface.Get());
    const RECT screen{0, 0, screenWidth, screenHeight};
    RECT inside{};
    IntersectRect(&inside, &rect, &screen);
    D3DLOCKED_RECT locked{};
    constexpr DWORD flags = D3DLOCK_NO_DIRTY_UPDATE | D3DLOCK_NOSYSLOCK | D3DLOCK_READONLY;
    if (FAILED(surface->LockRect(&locked, &inside, flags))) return nullptr;
    const std::size_t row_bytes = static_cast<std::size_t>(inside.right - inside.left) * 4;
    const std::size_t bitmap_row = static_cast<std::size_t>(rect.right - rect.left) * 4;
    const BYTE* from = static_cast<const BYTE*>(locked.pBits);
    BYTE* to = static_cast<BYTE*>(bits);
    // Kept: rows start at the bitmap's corner even if the rectangle begins outside the screen,
    // because hosts rely on their place.
    for (LONG y = inside.top; y < inside.bottom; ++y, from += locked.Pitch, to += bitmap_row)
        std::memcpy(to, from, row_bytes);
    surface->UnlockRect();
    if (drawCursor) DrawSystemCursor(system.gdi, memoryDC, rect);
    return static_cast<const BYTE*>(bits);
}

}  // namespace Vimbrel

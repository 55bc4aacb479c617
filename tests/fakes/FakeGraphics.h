// Direct3D and DXGI that are not there, and count who asked.
#pragma once

#include "ScreenCapture/system/CaptureSystem.h"
#include "tests/fakes/FakeGdi.h"
#include "tests/fakes/FakeWindowSystem.h"

namespace Vimbrel::test {

class NoGraphics final : public GraphicsSystem {
public:
    IDirect3D9* Direct3DCreate9(UINT) override {
        ++direct3d_asked;
        return nullptr;
    }
    HRESULT CreateDXGIFactory1(REFIID, void** factory) override {
        ++dxgi_asked;
        *factory = nullptr;
        return E_NOTIMPL;
    }
    HRESULT D3D11CreateDevice(IDXGIAdapter*, D3D_DRIVER_TYPE, HMODULE, UINT,
                              const D3D_FEATURE_LEVEL*, UINT, UINT, ID3D11Device**,
                              D3D_FEATURE_LEVEL*, ID3D11DeviceContext**) override {
        return E_NOTIMPL;
    }

    int direct3d_asked = 0;
    int dxgi_asked = 0;
};

// Fakes of all but the blending of pointers, which is the platform's.
struct FakeCapture {
    FakeWindowSystem windows;
    FakeGdi gdi;
    NoGraphics graphics;
    CaptureSystem system{windows, gdi, PlatformCaptureSystem().gdiplus, graphics};
    ScopedCaptureSystem scope{system};
};

}  // namespace Vimbrel::test

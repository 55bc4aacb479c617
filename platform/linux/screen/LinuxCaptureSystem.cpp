// The parts of screen capture that this platform has.
#include "ScreenCapture/system/CaptureSystem.h"
#include "platform/linux/screen/LinuxGdi.h"
#include "platform/linux/screen/LinuxGdiPlus.h"
#include "platform/linux/screen/LinuxWindowSystem.h"

namespace Vimbrel {

namespace {

class LinuxGraphicsSystem final : public GraphicsSystem {
public:
    IDirect3D9* Direct3DCreate9(UINT version) override { return ::Direct3DCreate9(version); }
    HRESULT CreateDXGIFactory1(REFIID iid, void** factory) override {
        return ::CreateDXGIFactory1(iid, factory);
    }
    HRESULT D3D11CreateDevice(IDXGIAdapter* adapter, D3D_DRIVER_TYPE type, HMODULE software,
                              UINT flags, const D3D_FEATURE_LEVEL* levels, UINT level_count,
                              UINT sdk_version, ID3D11Device** device, D3D_FEATURE_LEVEL* level,
                              ID3D11DeviceContext** context) override {
        return ::D3D11CreateDevice(adapter, type, software, flags, levels, level_count, sdk_version,
                                   device, level, context);
    }
};

}  // namespace

const CaptureSystem& PlatformCaptureSystem() {
    static LinuxWindowSystem windows;
    static LinuxGdi gdi;
    static LinuxGdiPlus gdiplus;
    static LinuxGraphicsSystem graphics;
    static const CaptureSystem system{windows, gdi, gdiplus, graphics};
    return system;
}

}  // namespace Vimbrel

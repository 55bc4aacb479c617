// The entry points under their published names, which every platform has.
#pragma once

#include "ScreenCapture/system/GraphicsSystem.h"

namespace Vimbrel {

class PublishedGraphicsSystem final : public GraphicsSystem {
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

}  // namespace Vimbrel

// The entry points of Direct3D and DXGI. What they return are the published interfaces themselves.
#pragma once

#include <d3d11.h>
#include <d3d9.h>
#include <dxgi1_2.h>

namespace Vimbrel {

class GraphicsSystem {
public:
    // Null on failure; the caller releases it.
    virtual IDirect3D9* Direct3DCreate9(UINT version) = 0;
    virtual HRESULT CreateDXGIFactory1(REFIID iid, void** factory) = 0;
    virtual HRESULT D3D11CreateDevice(IDXGIAdapter* adapter, D3D_DRIVER_TYPE type, HMODULE software,
                                      UINT flags, const D3D_FEATURE_LEVEL* levels, UINT level_count,
                                      UINT sdk_version, ID3D11Device** device,
                                      D3D_FEATURE_LEVEL* level, ID3D11DeviceContext** context) = 0;

protected:
    ~GraphicsSystem() = default;
};

}  // namespace Vimbrel

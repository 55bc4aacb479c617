// Textures, cut to what copying a duplicated desktop takes. Objects belong to one thread at a time.
#pragma once

#include "dxgi.h"

enum D3D_DRIVER_TYPE {
    D3D_DRIVER_TYPE_UNKNOWN = 0,
};

enum D3D_FEATURE_LEVEL {
    D3D_FEATURE_LEVEL_11_0 = 0xb000,
};

enum D3D11_USAGE {
    D3D11_USAGE_DEFAULT = 0,
    D3D11_USAGE_STAGING = 3,
};

enum D3D11_CPU_ACCESS_FLAG {
    D3D11_CPU_ACCESS_READ = 0x20000,
};

inline constexpr UINT D3D11_SDK_VERSION = 7;

struct D3D11_TEXTURE2D_DESC {
    UINT Width;
    UINT Height;
    UINT MipLevels;
    UINT ArraySize;
    DXGI_FORMAT Format;
    DXGI_SAMPLE_DESC SampleDesc;
    D3D11_USAGE Usage;
    UINT BindFlags;
    UINT CPUAccessFlags;
    UINT MiscFlags;
};

struct D3D11_SUBRESOURCE_DATA;

struct ID3D11Resource : IUnknown {};
VIMBREL_INTERFACE_ID(ID3D11Resource, 0xdc8e63f3, 0xd12b, 0x4952, 0xb4, 0x7b, 0x5e, 0x45, 0x02, 0x6a,
                     0x86, 0x2d);

struct ID3D11Texture2D : ID3D11Resource {
    virtual void STDMETHODCALLTYPE GetDesc(D3D11_TEXTURE2D_DESC* description) = 0;
};
VIMBREL_INTERFACE_ID(ID3D11Texture2D, 0x6f15aaf2, 0xd208, 0x4e89, 0x9a, 0xb4, 0x48, 0x95, 0x35,
                     0xd3, 0x4f, 0x9c);

struct ID3D11DeviceContext : IUnknown {
    // Both of this device, of one size and format; anything else copies nothing. The pixels are not
    // moved until one of the two changes.
    virtual void STDMETHODCALLTYPE CopyResource(ID3D11Resource* destination,
                                                ID3D11Resource* source) = 0;
};
VIMBREL_INTERFACE_ID(ID3D11DeviceContext, 0xc0bfa96c, 0xe089, 0x44fb, 0x8e, 0xaf, 0x26, 0xf8, 0x79,
                     0x61, 0x90, 0xda);

struct ID3D11Device : IUnknown {
    // A staging texture of DXGI_FORMAT_B8G8R8X8_UNORM without initial data, else E_INVALIDARG. The
    // texture that was made before comes again if it has been released and has the same
    // description.
    virtual HRESULT STDMETHODCALLTYPE CreateTexture2D(const D3D11_TEXTURE2D_DESC* description,
                                                      const D3D11_SUBRESOURCE_DATA* data,
                                                      ID3D11Texture2D** texture) = 0;
};
VIMBREL_INTERFACE_ID(ID3D11Device, 0xdb6f6ddb, 0xac77, 0x4e88, 0x82, 0x53, 0x81, 0x9d, 0xf9, 0xbb,
                     0xf1, 0x40);

extern "C" {

// `adapter` is one of CreateDXGIFactory1, so `type` is D3D_DRIVER_TYPE_UNKNOWN; E_INVALIDARG else.
// `level` may be null.
HRESULT WINAPI D3D11CreateDevice(IDXGIAdapter* adapter, D3D_DRIVER_TYPE type, HMODULE software,
                                 UINT flags, const D3D_FEATURE_LEVEL* levels, UINT level_count,
                                 UINT sdk_version, ID3D11Device** device, D3D_FEATURE_LEVEL* level,
                                 ID3D11DeviceContext** context);

}  // extern "C"

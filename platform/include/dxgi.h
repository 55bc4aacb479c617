// Adapters and outputs, cut to what is called. Every `**` result receives an added reference on
// success and null on failure.
#pragma once

#include "dxgitype.h"

struct DXGI_OUTPUT_DESC {
    WCHAR DeviceName[32];
    RECT DesktopCoordinates;
    BOOL AttachedToDesktop;
    DXGI_MODE_ROTATION Rotation;
    HMONITOR Monitor;
};

struct DXGI_MAPPED_RECT {
    INT Pitch;  // bytes
    BYTE* pBits;
};

inline constexpr UINT DXGI_MAP_READ = 1;

struct IDXGIResource : IUnknown {};
VIMBREL_INTERFACE_ID(IDXGIResource, 0x035f3ab4, 0x482e, 0x4e50, 0xb4, 0x1f, 0x8a, 0x7f, 0x8b, 0xd8,
                     0x96, 0x0b);

struct IDXGISurface1 : IUnknown {
    // Staging textures only, for reading.
    virtual HRESULT STDMETHODCALLTYPE Map(DXGI_MAPPED_RECT* mapped, UINT flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unmap() = 0;
};
VIMBREL_INTERFACE_ID(IDXGISurface1, 0x4ae63092, 0x6327, 0x4c1b, 0x80, 0xae, 0xbf, 0xe1, 0x2e, 0xa3,
                     0x2b, 0x86);

struct IDXGIOutput : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetDesc(DXGI_OUTPUT_DESC* description) = 0;
};
VIMBREL_INTERFACE_ID(IDXGIOutput, 0xae02eedb, 0xc735, 0x4690, 0x8d, 0x52, 0x5a, 0x8d, 0xc2, 0x02,
                     0x13, 0xaa);

struct IDXGIAdapter : IUnknown {
    // DXGI_ERROR_NOT_FOUND after the last.
    virtual HRESULT STDMETHODCALLTYPE EnumOutputs(UINT index, IDXGIOutput** output) = 0;
};
VIMBREL_INTERFACE_ID(IDXGIAdapter, 0x2411e7e1, 0x12ac, 0x4ccf, 0xbd, 0x14, 0x97, 0x98, 0xe8, 0x53,
                     0x4d, 0xc0);

struct IDXGIAdapter1 : IDXGIAdapter {};
VIMBREL_INTERFACE_ID(IDXGIAdapter1, 0x29038f61, 0x3839, 0x4626, 0x91, 0xfd, 0x08, 0x68, 0x79, 0x01,
                     0x1a, 0x05);

struct IDXGIFactory1 : IUnknown {
    // DXGI_ERROR_NOT_FOUND after the last.
    virtual HRESULT STDMETHODCALLTYPE EnumAdapters1(UINT index, IDXGIAdapter1** adapter) = 0;
};
VIMBREL_INTERFACE_ID(IDXGIFactory1, 0x770aae78, 0xf26f, 0x4dba, 0xa8, 0x29, 0x25, 0x3c, 0x83, 0xd1,
                     0xb3, 0x87);

struct IDXGIDevice : IUnknown {};
VIMBREL_INTERFACE_ID(IDXGIDevice, 0x54ec77fa, 0x1377, 0x44e6, 0x8c, 0x32, 0x88, 0xfd, 0x5f, 0x44,
                     0xc8, 0x4c);

extern "C" {

// The outputs are those of the server that the environment variable DISPLAY names, as they are now.
// E_FAIL without a server.
HRESULT WINAPI CreateDXGIFactory1(REFIID iid, void** factory);

}  // extern "C"

// Reading the front buffer, cut to what is called. Objects belong to one thread at a time. Every
// `**` result receives an added reference on success and null on failure.
#pragma once

#include "unknwn.h"

enum D3DFORMAT {
    D3DFMT_UNKNOWN = 0,
    D3DFMT_A8R8G8B8 = 21,
    D3DFMT_X8R8G8B8 = 22,
};

enum D3DDEVTYPE {
    D3DDEVTYPE_HAL = 1,
};

enum D3DPOOL {
    D3DPOOL_SCRATCH = 3,
};

enum D3DSWAPEFFECT {
    D3DSWAPEFFECT_DISCARD = 1,
};

enum D3DMULTISAMPLE_TYPE {
    D3DMULTISAMPLE_NONE = 0,
};

struct D3DDISPLAYMODE {
    UINT Width;
    UINT Height;
    UINT RefreshRate;
    D3DFORMAT Format;
};

struct D3DPRESENT_PARAMETERS {
    UINT BackBufferWidth;
    UINT BackBufferHeight;
    D3DFORMAT BackBufferFormat;
    UINT BackBufferCount;
    D3DMULTISAMPLE_TYPE MultiSampleType;
    DWORD MultiSampleQuality;
    D3DSWAPEFFECT SwapEffect;
    HWND hDeviceWindow;
    BOOL Windowed;
    BOOL EnableAutoDepthStencil;
    D3DFORMAT AutoDepthStencilFormat;
    DWORD Flags;
    UINT FullScreen_RefreshRateInHz;
    UINT PresentationInterval;
};

struct D3DLOCKED_RECT {
    INT Pitch;  // bytes
    void* pBits;
};

inline constexpr UINT D3D_SDK_VERSION = 32;
inline constexpr UINT D3DADAPTER_DEFAULT = 0;
inline constexpr DWORD D3DCREATE_SOFTWARE_VERTEXPROCESSING = 0x20;
inline constexpr DWORD D3DPRESENTFLAG_LOCKABLE_BACKBUFFER = 1;
inline constexpr UINT D3DPRESENT_INTERVAL_DEFAULT = 0;
inline constexpr DWORD D3DLOCK_READONLY = 0x10;
inline constexpr DWORD D3DLOCK_NOSYSLOCK = 0x800;
inline constexpr DWORD D3DLOCK_NO_DIRTY_UPDATE = 0x8000;
inline constexpr HRESULT D3D_OK = S_OK;
inline constexpr HRESULT D3DERR_INVALIDCALL = VimbrelResult(0x8876086Cu);
inline constexpr HRESULT D3DERR_NOTAVAILABLE = VimbrelResult(0x8876086Au);
inline constexpr HRESULT D3DERR_DEVICELOST = VimbrelResult(0x88760868u);

struct IDirect3DSurface9 : IUnknown {
    // `rect` may be null for the whole; one that leaves the surface is D3DERR_INVALIDCALL. Only
    // D3DLOCK_READONLY locks.
    virtual HRESULT STDMETHODCALLTYPE LockRect(D3DLOCKED_RECT* locked, const RECT* rect,
                                               DWORD flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE UnlockRect() = 0;
};
VIMBREL_INTERFACE_ID(IDirect3DSurface9, 0x0cfbaf3a, 0x9ff6, 0x429a, 0x99, 0xb3, 0xa2, 0x79, 0x6a,
                     0xf8, 0xb8, 0x9b);

struct IDirect3DDevice9 : IUnknown {
    // Copies the whole screen into a surface of its size. D3DERR_DEVICELOST when the server is gone
    // or the screen has another size.
    virtual HRESULT STDMETHODCALLTYPE GetFrontBufferData(UINT swap_chain,
                                                         IDirect3DSurface9* surface) = 0;
    // D3DFMT_A8R8G8B8 and D3DPOOL_SCRATCH only, D3DERR_INVALIDCALL for others; `shared_handle` must
    // be null.
    virtual HRESULT STDMETHODCALLTYPE CreateOffscreenPlainSurface(UINT width, UINT height,
                                                                  D3DFORMAT format, D3DPOOL pool,
                                                                  IDirect3DSurface9** surface,
                                                                  HANDLE* shared_handle) = 0;
};
VIMBREL_INTERFACE_ID(IDirect3DDevice9, 0xd0223b96, 0xbf7a, 0x43fd, 0x92, 0xbd, 0xa4, 0x3b, 0x0d,
                     0x82, 0xb9, 0xeb);

struct IDirect3D9 : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetAdapterDisplayMode(UINT adapter, D3DDISPLAYMODE* mode) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateDevice(UINT adapter, D3DDEVTYPE type, HWND focus_window,
                                                   DWORD behavior,
                                                   D3DPRESENT_PARAMETERS* parameters,
                                                   IDirect3DDevice9** device) = 0;
};
VIMBREL_INTERFACE_ID(IDirect3D9, 0x81bdcbca, 0x64d4, 0x426d, 0xae, 0x8d, 0xad, 0x01, 0x47, 0xf4,
                     0x27, 0x5c);

extern "C" {

// Null if there is no server, or its screen cannot be read. `version` must be D3D_SDK_VERSION.
IDirect3D9* WINAPI Direct3DCreate9(UINT version);

}  // extern "C"

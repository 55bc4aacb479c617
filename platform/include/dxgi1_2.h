// Desktop duplication, cut to what is called.
#pragma once

#include "dxgi.h"

enum DXGI_OUTDUPL_POINTER_SHAPE_TYPE {
    DXGI_OUTDUPL_POINTER_SHAPE_TYPE_MONOCHROME = 1,
    DXGI_OUTDUPL_POINTER_SHAPE_TYPE_COLOR = 2,
    DXGI_OUTDUPL_POINTER_SHAPE_TYPE_MASKED_COLOR = 4,
};

struct DXGI_OUTDUPL_POINTER_POSITION {
    POINT Position;  // of the shape's top left corner, within the output
    BOOL Visible;
};

struct DXGI_OUTDUPL_POINTER_SHAPE_INFO {
    UINT Type;
    UINT Width;
    UINT Height;
    UINT Pitch;  // bytes
    POINT HotSpot;
};

struct DXGI_OUTDUPL_FRAME_INFO {
    LARGE_INTEGER LastPresentTime;  // 0 if only the pointer changed
    LARGE_INTEGER LastMouseUpdateTime;
    UINT AccumulatedFrames;
    BOOL RectsCoalesced;
    BOOL ProtectedContentMaskedOut;
    DXGI_OUTDUPL_POINTER_POSITION PointerPosition;
    UINT TotalMetadataBufferSize;
    UINT PointerShapeBufferSize;  // 0 if the shape did not change
};

// Frames of one output: the first at once, then one when something on it or the pointer has
// changed. The texture is in the output's own orientation, DXGI_FORMAT_B8G8R8X8_UNORM: the fourth
// bytes are undefined. Its pixels are valid until the frame is released; copies keep them.
// Objects belong to one thread at a time.
struct IDXGIOutputDuplication : IUnknown {
    // Waits up to `timeout_ms`; DXGI_ERROR_WAIT_TIMEOUT if nothing changed, DXGI_ERROR_INVALID_CALL
    // if the last frame was not released, DXGI_ERROR_ACCESS_LOST for ever once the server is gone
    // or the output has another place, size or rotation.
    virtual HRESULT STDMETHODCALLTYPE AcquireNextFrame(UINT timeout_ms,
                                                       DXGI_OUTDUPL_FRAME_INFO* info,
                                                       IDXGIResource** resource) = 0;
    // Of the acquired frame. With a PointerShapeBufferSize of 0 it succeeds with everything 0.
    // DXGI_ERROR_MORE_DATA if `size` is below *required.
    virtual HRESULT STDMETHODCALLTYPE GetFramePointerShape(
        UINT size, void* buffer, UINT* required, DXGI_OUTDUPL_POINTER_SHAPE_INFO* info) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReleaseFrame() = 0;
};
VIMBREL_INTERFACE_ID(IDXGIOutputDuplication, 0x191cfac3, 0xa341, 0x470d, 0xb2, 0x6e, 0xa8, 0x64,
                     0xf4, 0x28, 0x31, 0x9c);

struct IDXGIOutput1 : IDXGIOutput {
    // `device` is one of D3D11CreateDevice. DXGI_ERROR_UNSUPPORTED if the server does not tell
    // changes or the pointer, or its pixels cannot be read; the log says which.
    virtual HRESULT STDMETHODCALLTYPE DuplicateOutput(IUnknown* device,
                                                      IDXGIOutputDuplication** duplication) = 0;
};
VIMBREL_INTERFACE_ID(IDXGIOutput1, 0x00cddea8, 0x939b, 0x4b83, 0xa3, 0x40, 0xa6, 0x85, 0x22, 0x66,
                     0x66, 0xcc);

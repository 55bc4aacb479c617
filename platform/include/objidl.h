// Byte streams, cut to what the imaging family writes and reads through them, and the class of an
// object.
#pragma once

#include "unknwn.h"

struct ISequentialStream : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Read(void* data, ULONG size, ULONG* read) = 0;
    // A short write is a failure; *written is then what was written. `written` may be null.
    virtual HRESULT STDMETHODCALLTYPE Write(const void* data, ULONG size, ULONG* written) = 0;
};
VIMBREL_INTERFACE_ID(ISequentialStream, 0x0c733a30, 0x2a1c, 0x11ce, 0xad, 0xe5, 0x00, 0xaa, 0x00,
                     0x44, 0x77, 0x3d);

struct IStream : ISequentialStream {};
VIMBREL_INTERFACE_ID(IStream, 0x0000000c, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                     0x46);

struct IPersist : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetClassID(CLSID* clsid) = 0;
};
VIMBREL_INTERFACE_ID(IPersist, 0x0000010c, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                     0x46);

// Byte streams, cut to what the imaging family writes and reads through them, the class of an
// object, and names of objects that can be bound to them.
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

struct IPersistStream : IPersist {
    virtual HRESULT STDMETHODCALLTYPE IsDirty() = 0;
    virtual HRESULT STDMETHODCALLTYPE Load(IStream* stream) = 0;
    virtual HRESULT STDMETHODCALLTYPE Save(IStream* stream, BOOL clear_dirty) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSizeMax(ULARGE_INTEGER* size) = 0;
};
VIMBREL_INTERFACE_ID(IPersistStream, 0x00000109, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00,
                     0x00, 0x46);

// What belongs to one binding. Nothing here asks it for anything.
struct IBindCtx : IUnknown {};
VIMBREL_INTERFACE_ID(IBindCtx, 0x0000000e, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                     0x46);

struct IEnumMoniker;

// The name of an object, as of a camera.
struct IMoniker : IPersistStream {
    virtual HRESULT STDMETHODCALLTYPE BindToObject(IBindCtx* context, IMoniker* left, REFIID iid,
                                                   void** object) = 0;
    virtual HRESULT STDMETHODCALLTYPE BindToStorage(IBindCtx* context, IMoniker* left, REFIID iid,
                                                    void** storage) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reduce(IBindCtx* context, DWORD how_far, IMoniker** left,
                                             IMoniker** reduced) = 0;
    virtual HRESULT STDMETHODCALLTYPE ComposeWith(IMoniker* right, BOOL only_if_not_generic,
                                                  IMoniker** composite) = 0;
    virtual HRESULT STDMETHODCALLTYPE Enum(BOOL forward, IEnumMoniker** enumerator) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsEqual(IMoniker* other) = 0;
    virtual HRESULT STDMETHODCALLTYPE Hash(DWORD* hash) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsRunning(IBindCtx* context, IMoniker* left,
                                                IMoniker* newly_running) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTimeOfLastChange(IBindCtx* context, IMoniker* left,
                                                          FILETIME* time) = 0;
    virtual HRESULT STDMETHODCALLTYPE Inverse(IMoniker** inverse) = 0;
    virtual HRESULT STDMETHODCALLTYPE CommonPrefixWith(IMoniker* other, IMoniker** prefix) = 0;
    virtual HRESULT STDMETHODCALLTYPE RelativePathTo(IMoniker* other, IMoniker** path) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDisplayName(IBindCtx* context, IMoniker* left,
                                                     LPWSTR* name) = 0;
    virtual HRESULT STDMETHODCALLTYPE ParseDisplayName(IBindCtx* context, IMoniker* left,
                                                       LPWSTR name, ULONG* eaten,
                                                       IMoniker** moniker) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsSystemMoniker(DWORD* kind) = 0;
};
VIMBREL_INTERFACE_ID(IMoniker, 0x0000000f, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                     0x46);

struct IEnumMoniker : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Next(ULONG count, IMoniker** items, ULONG* fetched) = 0;
    virtual HRESULT STDMETHODCALLTYPE Skip(ULONG count) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IEnumMoniker** enumerator) = 0;
};
VIMBREL_INTERFACE_ID(IEnumMoniker, 0x00000102, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00,
                     0x00, 0x46);

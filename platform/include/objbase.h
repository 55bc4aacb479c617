// Library start-up, object creation and the task allocator.
//
// CoInitializeEx and CoUninitialize count per thread and must be paired; every thread that creates
// objects calls them, as on the other platform. All implementations here are free-threaded whatever
// model is asked for.
#pragma once

#include "objidl.h"

#include "vimbrel/Export.h"

enum COINIT : DWORD {
    COINIT_MULTITHREADED = 0x0,
    COINIT_APARTMENTTHREADED = 0x2,
    COINIT_DISABLE_OLE1DDE = 0x4,
    COINIT_SPEED_OVER_MEMORY = 0x8,
};

enum CLSCTX : DWORD {
    CLSCTX_INPROC_SERVER = 0x1,
    CLSCTX_ALL = 0x17,
};

// Of stores and streams that are opened.
inline constexpr DWORD STGM_READ = 0;

extern "C" {

// S_OK for the thread's first call, S_FALSE for later ones, RPC_E_CHANGED_MODE if an earlier one
// asked for another model.
VIMBREL_API HRESULT WINAPI CoInitializeEx(void* reserved, DWORD model);
VIMBREL_API void WINAPI CoUninitialize();

// Makes an object of a known class. `outer` must be null. REGDB_E_CLASSNOTREG for a class this
// platform does not have.
VIMBREL_API HRESULT WINAPI CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context,
                                            REFIID iid, void** object);

// Null when there is no memory. CoTaskMemFree takes null.
VIMBREL_API void* WINAPI CoTaskMemAlloc(SIZE_T size);
VIMBREL_API void WINAPI CoTaskMemFree(void* memory);

// `reserved` is 0. Inside the library only.
HRESULT WINAPI CreateBindCtx(DWORD reserved, IBindCtx** context);

}  // extern "C"

template <class Interface>
void** IID_PPV_ARGS_Helper(Interface** object) {
    static_cast<void>(static_cast<IUnknown*>(*object));
    return reinterpret_cast<void**>(object);
}

#define IID_PPV_ARGS(object) __uuidof(**(object)), IID_PPV_ARGS_Helper(object)

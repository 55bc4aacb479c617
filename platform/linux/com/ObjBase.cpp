// Start-up per thread and the table of creatable classes.
#include <objbase.h>

#include <wincodec.h>
#include <wmcodecdsp.h>

#include <cstdlib>

#include "platform/linux/com/ClassTable.h"
#include "platform/linux/mf/AacEncoderTransform.h"
#include "platform/linux/mf/ColorConverter.h"
#include "platform/linux/mf/H264EncoderTransform.h"
#include "platform/linux/wic/ImagingFactory.h"

namespace Vimbrel {

namespace {

struct ClassEntry {
    GUID clsid;
    ClassCreator create;
};

constexpr ClassEntry classes[] = {
    {CLSID_WICImagingFactory1, CreateImagingFactory}, {CLSID_WICImagingFactory2, CreateImagingFactory},
    {CLSID_CColorConvertDMO, CreateColorConverter},   {CLSID_CMSH264EncoderMFT, CreateSoftwareH264Encoder},
    {CLSID_AACMFTEncoder, CreateAacEncoder},
};

ScopedClassOverride* newest_override = nullptr;

ClassCreator FindCreator(REFCLSID clsid) {
    for (const ScopedClassOverride* entry = newest_override; entry; entry = entry->Previous()) {
        if (entry->Clsid() == clsid) return entry->Creator();
    }
    for (const ClassEntry& entry : classes) {
        if (entry.clsid == clsid) return entry.create;
    }
    return nullptr;
}

struct ThreadState {
    ULONG count = 0;
    DWORD model = 0;
};
thread_local ThreadState thread_state;

}  // namespace

ScopedClassOverride::ScopedClassOverride(REFCLSID clsid, ClassCreator creator)
    : clsid_(clsid), creator_(creator), previous_(newest_override) {
    newest_override = this;
}

ScopedClassOverride::~ScopedClassOverride() { newest_override = previous_; }

}  // namespace Vimbrel

extern "C" {

HRESULT WINAPI CoInitializeEx(void*, DWORD model) {
    Vimbrel::ThreadState& state = Vimbrel::thread_state;
    const DWORD wanted = model & COINIT_APARTMENTTHREADED;
    if (state.count == 0) {
        state = {1, wanted};
        return S_OK;
    }
    if (state.model != wanted) return RPC_E_CHANGED_MODE;
    ++state.count;
    return S_FALSE;
}

void WINAPI CoUninitialize() {
    if (Vimbrel::thread_state.count > 0) --Vimbrel::thread_state.count;
}

HRESULT WINAPI CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD, REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    const Vimbrel::ClassCreator create = Vimbrel::FindCreator(clsid);
    return create ? create(iid, object) : REGDB_E_CLASSNOTREG;
}

void* WINAPI CoTaskMemAlloc(SIZE_T size) { return std::malloc(size ? size : 1); }
void WINAPI CoTaskMemFree(void* memory) { std::free(memory); }

}  // extern "C"

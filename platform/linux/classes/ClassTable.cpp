// The table of creatable classes.
#include <objbase.h>

#include <wincodec.h>
#include <wmcodecdsp.h>

#include "platform/linux/classes/ClassTable.h"
#include "platform/linux/mf/transform/AacEncoderTransform.h"
#include "platform/linux/mf/transform/ColorConverter.h"
#include "platform/linux/mf/transform/H264EncoderTransform.h"
#include "platform/linux/wic/ImagingFactory.h"

namespace Vimbrel {

namespace {

struct ClassEntry {
    GUID clsid;
    ClassCreator create;
};

constexpr ClassEntry classes[] = {
    {CLSID_WICImagingFactory1, CreateImagingFactory},
    {CLSID_WICImagingFactory2, CreateImagingFactory},
    {CLSID_CColorConvertDMO, CreateColorConverter},
    {CLSID_CMSH264EncoderMFT, CreateSoftwareH264Encoder},
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

}  // namespace

ScopedClassOverride::ScopedClassOverride(REFCLSID clsid, ClassCreator creator)
    : clsid_(clsid), creator_(creator), previous_(newest_override) {
    newest_override = this;
}

ScopedClassOverride::~ScopedClassOverride() { newest_override = previous_; }

}  // namespace Vimbrel

extern "C" {

HRESULT WINAPI CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD, REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    const Vimbrel::ClassCreator create = Vimbrel::FindCreator(clsid);
    return create ? create(iid, object) : REGDB_E_CLASSNOTREG;
}

}  // extern "C"

#include "base/ObjectCreation.h"

#include <utility>

namespace Vimbrel {

namespace {

const ScopedClassOverride* newest_override = nullptr;

}  // namespace

HRESULT CreateObject(REFCLSID clsid, REFIID iid, void** object) {
    const ClassCreator* const creator = ScopedClassOverride::Find(clsid);
    return creator ? (*creator)(iid, object)
                   : CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, iid, object);
}

ScopedClassOverride::ScopedClassOverride(REFCLSID clsid, ClassCreator creator)
    : clsid_(clsid), creator_(std::move(creator)), previous_(newest_override) {
    newest_override = this;
}

ScopedClassOverride::~ScopedClassOverride() { newest_override = previous_; }

const ClassCreator* ScopedClassOverride::Find(REFCLSID clsid) {
    for (const ScopedClassOverride* entry = newest_override; entry; entry = entry->previous_) {
        if (IsEqualGUID(entry->clsid_, clsid)) return &entry->creator_;
    }
    return nullptr;
}

}  // namespace Vimbrel

// Replacing a class by another, for tests.
#pragma once

#include <objbase.h>

namespace Vimbrel {

using ClassCreator = HRESULT (*)(REFIID iid, void** object);

// While it lives, CoCreateInstance of `clsid` calls `creator`. Overrides end in the reverse order
// of their making, and none is made or ended while another thread creates objects.
class ScopedClassOverride {
public:
    ScopedClassOverride(REFCLSID clsid, ClassCreator creator);
    ~ScopedClassOverride();
    ScopedClassOverride(const ScopedClassOverride&) = delete;
    ScopedClassOverride& operator=(const ScopedClassOverride&) = delete;

    REFCLSID Clsid() const { return clsid_; }
    ClassCreator Creator() const { return creator_; }
    const ScopedClassOverride* Previous() const { return previous_; }

private:
    GUID clsid_;
    ClassCreator creator_;
    ScopedClassOverride* previous_;
};

}  // namespace Vimbrel

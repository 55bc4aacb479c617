// Making of the system's objects by class, with one override for tests on both systems.
#pragma once

#include <objbase.h>

#include <functional>

#include "com/ComPtr.h"

namespace Vimbrel {

using ClassCreator = std::function<HRESULT(REFIID iid, void** object)>;

// CoCreateInstance within the process, or the newest override of the class. The calling thread has
// started COM.
HRESULT CreateObject(REFCLSID clsid, REFIID iid, void** object);

// The same for an owned reference, which is null after a failure.
template <class Interface>
HRESULT CreateObject(REFCLSID clsid, ComPtr<Interface>& object) {
    void* made = nullptr;
    object.Reset();
    const HRESULT result = CreateObject(clsid, __uuidof(Interface), &made);
    if (SUCCEEDED(result)) object.Attach(static_cast<Interface*>(made));
    return result;
}

// Until it is destroyed, CreateObject of `clsid` calls `creator`. Overrides end in the reverse
// order of their making, and none begins or ends while another thread makes objects.
class ScopedClassOverride {
public:
    ScopedClassOverride(REFCLSID clsid, ClassCreator creator);
    ~ScopedClassOverride();
    ScopedClassOverride(const ScopedClassOverride&) = delete;
    ScopedClassOverride& operator=(const ScopedClassOverride&) = delete;

    // The newest override of the class; null if there is none.
    static const ClassCreator* Find(REFCLSID clsid);

private:
    GUID clsid_;
    ClassCreator creator_;
    const ScopedClassOverride* previous_;
};

}  // namespace Vimbrel

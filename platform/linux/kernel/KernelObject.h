// What a HANDLE points to.
#pragma once

namespace Vimbrel {

class Waitable;

// CloseHandle deletes it.
class KernelObject {
public:
    virtual ~KernelObject() = default;

    // Null for what cannot be waited for.
    virtual Waitable* AsWaitable() { return nullptr; }
};

}  // namespace Vimbrel

// What a HANDLE points to.
#pragma once

namespace Vimbrel {

// CloseHandle deletes it.
class KernelObject {
public:
    virtual ~KernelObject() = default;
};

}  // namespace Vimbrel

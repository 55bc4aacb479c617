// Kernel objects that can be waited for.
#pragma once

#include <windef.h>

#include "platform/linux/kernel/KernelObject.h"

namespace Vimbrel {

class Waitable : public KernelObject {
public:
    Waitable* AsWaitable() final { return this; }

    // Readable while the object is signalled.
    virtual int Descriptor() const = 0;
    // Whether the object is signalled, without waiting. Takes the signal if waiting for the object
    // does.
    virtual bool TryTake() = 0;

    // Null if the handle stands for something else.
    static Waitable* Of(HANDLE handle);
};

// Waits for the first of `count` objects (at most MAXIMUM_WAIT_OBJECTS - 1) or for `descriptor` to
// become readable; a descriptor of -1 is ignored. The objects come first. Returns WAIT_OBJECT_0
// and the index (`count` for the descriptor), WAIT_TIMEOUT or WAIT_FAILED.
DWORD WaitForFirst(Waitable* const* objects, DWORD count, int descriptor, DWORD milliseconds);

}  // namespace Vimbrel

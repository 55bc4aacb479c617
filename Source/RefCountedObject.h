// Base of counted objects that implement interfaces: they forward AddRef and Release to it.
#pragma once

#include <unknwn.h>

#include <atomic>

namespace Vimbrel {

class RefCountedObject {
public:
    RefCountedObject() = default;
    RefCountedObject(const RefCountedObject&) = delete;
    RefCountedObject& operator=(const RefCountedObject&) = delete;
    virtual ~RefCountedObject() = default;

    ULONG AddRef() { return reference_count.fetch_add(1, std::memory_order_relaxed) + 1; }

    ULONG Release() {
        const ULONG left = reference_count.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) delete this;
        return left;
    }

private:
    std::atomic<ULONG> reference_count{1};
};

}  // namespace Vimbrel

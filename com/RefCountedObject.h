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

    ULONG AddRef();
    ULONG Release();

private:
    std::atomic<ULONG> reference_count{1};
};

}  // namespace Vimbrel

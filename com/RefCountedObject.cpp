#include "com/RefCountedObject.h"

namespace Vimbrel {

ULONG RefCountedObject::AddRef() {
    return reference_count.fetch_add(1, std::memory_order_relaxed) + 1;
}

ULONG RefCountedObject::Release() {
    const ULONG left = reference_count.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
}

}  // namespace Vimbrel

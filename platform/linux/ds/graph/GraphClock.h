// The clock of a graph that has no other.
#pragma once

#include "com/ComObject.h"
#include "filters/FilterNames.h"

namespace Vimbrel {

// Monotonic time, which never stands still.
class GraphClock final : public ComObject<Implements<IReferenceClock>> {
public:
    HRESULT STDMETHODCALLTYPE GetTime(REFERENCE_TIME* time) override;
    // Filters here read the time; no notification is offered: E_NOTIMPL.
    HRESULT STDMETHODCALLTYPE AdviseTime(REFERENCE_TIME base, REFERENCE_TIME stream, HEVENT event,
                                         DWORD_PTR* cookie) override;
    HRESULT STDMETHODCALLTYPE AdvisePeriodic(REFERENCE_TIME start, REFERENCE_TIME period,
                                             HSEMAPHORE semaphore, DWORD_PTR* cookie) override;
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD_PTR cookie) override;
};

}  // namespace Vimbrel

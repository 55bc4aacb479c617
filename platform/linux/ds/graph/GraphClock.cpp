#include "platform/linux/ds/graph/GraphClock.h"

#include <chrono>

namespace Vimbrel {

HRESULT STDMETHODCALLTYPE GraphClock::GetTime(REFERENCE_TIME* time) {
    if (!time) return E_POINTER;
    using Hundreds = std::chrono::duration<REFERENCE_TIME, std::ratio<1, 10'000'000>>;
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    *time = std::chrono::duration_cast<Hundreds>(now).count();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE GraphClock::AdviseTime(REFERENCE_TIME, REFERENCE_TIME, HEVENT,
                                                 DWORD_PTR*) {
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE GraphClock::AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HSEMAPHORE,
                                                     DWORD_PTR*) {
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE GraphClock::Unadvise(DWORD_PTR) { return E_NOTIMPL; }

}  // namespace Vimbrel

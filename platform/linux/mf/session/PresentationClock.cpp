#include "platform/linux/mf/session/PresentationClock.h"

#include <ratio>

namespace Vimbrel {

HRESULT STDMETHODCALLTYPE PresentationClock::GetState(DWORD reserved, MFCLOCK_STATE* state) {
    if (!state) return E_POINTER;
    if (reserved != 0) return E_INVALIDARG;
    const MutexLock guard(lock_);
    *state = state_;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE PresentationClock::GetTime(MFTIME* time) {
    if (!time) return E_POINTER;
    using Units = std::chrono::duration<MFTIME, std::ratio<1, 10'000'000>>;
    const MutexLock guard(lock_);
    const Clock::time_point end = state_ == MFCLOCK_STATE_RUNNING ? Clock::now() : stopped_;
    *time = std::chrono::duration_cast<Units>(end - started_).count();
    return S_OK;
}

void PresentationClock::Start() {
    const MutexLock guard(lock_);
    if (state_ != MFCLOCK_STATE_INVALID) return;
    started_ = Clock::now();
    state_ = MFCLOCK_STATE_RUNNING;
}

void PresentationClock::Stop() {
    const MutexLock guard(lock_);
    if (state_ == MFCLOCK_STATE_RUNNING) stopped_ = Clock::now();
    state_ = MFCLOCK_STATE_STOPPED;
}

}  // namespace Vimbrel

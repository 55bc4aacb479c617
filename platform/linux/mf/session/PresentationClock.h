// How long a session has been running.
#pragma once

#include <mfidl.h>

#include <chrono>

#include "base/ThreadSafety.h"
#include "com/ComObject.h"

namespace Vimbrel {

class PresentationClock final : public ComObject<Implements<IMFPresentationClock, IMFClock>> {
public:
    HRESULT STDMETHODCALLTYPE GetState(DWORD reserved, MFCLOCK_STATE* state) override;
    HRESULT STDMETHODCALLTYPE GetTime(MFTIME* time) override;

    // Once each; the second time they do nothing.
    void Start();
    void Stop();

private:
    using Clock = std::chrono::steady_clock;

    Mutex lock_;
    MFCLOCK_STATE state_ GUARDED_BY(lock_) = MFCLOCK_STATE_INVALID;
    Clock::time_point started_ GUARDED_BY(lock_);
    Clock::time_point stopped_ GUARDED_BY(lock_);
};

}  // namespace Vimbrel

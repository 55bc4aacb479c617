// How long a session has been running.
#pragma once

#include <mfidl.h>

#include <chrono>
#include <mutex>

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

    std::mutex lock_;
    MFCLOCK_STATE state_ = MFCLOCK_STATE_INVALID;
    Clock::time_point started_;
    Clock::time_point stopped_;
};

}  // namespace Vimbrel

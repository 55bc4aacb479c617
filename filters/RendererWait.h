// What a renderer's streaming thread waits for: running, the time of a sample, the end of a flush.
#pragma once

#include <optional>

#include "base/ThreadSafety.h"
#include "com/ComPtr.h"
#include "filters/FilterNames.h"

namespace Vimbrel {

// A streaming thread enters, waits until its sample is due, renders without the lock and leaves.
// Control operations free it and, to stop or to flush, wait until it has left.
class RendererWait {
public:
    // Control threads.
    void Activate(bool connected);
    void Pause();
    void Run(REFERENCE_TIME start);
    void Stop();
    void BeginFlush();
    void EndFlush();
    void SetClock(IReferenceClock* clock);
    // Whether there is a sample, or the end, to begin with. False when the time comes first.
    bool WaitUntilCued(DWORD milliseconds);

    // Streaming threads. S_OK, S_FALSE while flushing, VFW_E_WRONG_STATE when stopped, E_UNEXPECTED
    // after the end.
    HRESULT Enter();
    // Waits for running and, with a time and a clock, until the clock is at the start of the run
    // plus `time`. Results as above.
    HRESULT WaitUntilDue(std::optional<REFERENCE_TIME> time);
    // The end that the next end of stream waits for.
    void SetLastEnd(REFERENCE_TIME end);
    std::optional<REFERENCE_TIME> LastEnd();
    // No sample is taken from now on, until a stop or a flush.
    void SetEnded();
    void Leave();

private:
    enum class Mode { stopped, paused, running };

    bool IsCued() const REQUIRES(lock_);
    void WaitUntilEmpty(MutexLock& guard) REQUIRES(lock_);
    // How long a running renderer has to wait still, in units of 100 nanoseconds.
    REFERENCE_TIME Remaining(std::optional<REFERENCE_TIME> time) const REQUIRES(lock_);

    Mutex lock_;
    Condition changed_;
    Mode mode_ GUARDED_BY(lock_) = Mode::stopped;
    bool connected_ GUARDED_BY(lock_) = false;
    bool flushing_ GUARDED_BY(lock_) = false;
    bool ended_ GUARDED_BY(lock_) = false;
    int inside_ GUARDED_BY(lock_) = 0;
    int waiting_ GUARDED_BY(lock_) = 0;
    REFERENCE_TIME start_ GUARDED_BY(lock_) = 0;
    std::optional<REFERENCE_TIME> last_end_ GUARDED_BY(lock_);
    ComPtr<IReferenceClock> clock_ GUARDED_BY(lock_);
};

}  // namespace Vimbrel

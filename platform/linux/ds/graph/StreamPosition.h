// Where a graph plays, readable on any thread.
#pragma once

#include "base/ThreadSafety.h"
#include "com/ComPtr.h"
#include "filters/FilterNames.h"

namespace Vimbrel {

// In units of 100 nanoseconds. Its lock is a leaf, so a streaming thread may ask while another
// thread controls the graph.
class StreamPosition {
public:
    // Stream time goes on from where it was left. Returns what the filters' Run takes: the time of
    // the clock at which stream time was 0.
    REFERENCE_TIME Run(IReferenceClock* clock);
    void Pause();
    // Stream time is 0 again. The second form also moves its origin.
    void Rewind();
    void Rewind(LONGLONG origin);

    void SetRate(double rate);
    void SetDuration(LONGLONG duration);
    void SetStop(LONGLONG stop);

    // At most the duration, if it is known, and the stop, if there is one.
    LONGLONG Current();
    LONGLONG Duration();
    // The duration unless it was set.
    LONGLONG Stop();
    double Rate();

private:
    REFERENCE_TIME StreamTime() const REQUIRES(lock_);

    Mutex lock_;
    ComPtr<IReferenceClock> clock_ GUARDED_BY(lock_);  // while running
    REFERENCE_TIME start_ GUARDED_BY(lock_) = 0;
    REFERENCE_TIME elapsed_ GUARDED_BY(lock_) = 0;
    LONGLONG origin_ GUARDED_BY(lock_) = 0;
    LONGLONG duration_ GUARDED_BY(lock_) = 0;
    LONGLONG stop_ GUARDED_BY(lock_) = -1;  // below 0: not set
    double rate_ GUARDED_BY(lock_) = 1.0;
};

}  // namespace Vimbrel

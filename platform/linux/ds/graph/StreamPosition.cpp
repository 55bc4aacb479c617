#include "platform/linux/ds/graph/StreamPosition.h"

#include <algorithm>

namespace Vimbrel {

namespace {

REFERENCE_TIME Now(IReferenceClock& clock) {
    REFERENCE_TIME now = 0;
    clock.GetTime(&now);
    return now;
}

}  // namespace

REFERENCE_TIME StreamPosition::Run(IReferenceClock* clock) {
    const MutexLock guard(lock_);
    clock_ = ComPtr<IReferenceClock>(clock);
    start_ = clock ? Now(*clock) - elapsed_ : 0;
    return start_;
}

REFERENCE_TIME StreamPosition::StreamTime() const {
    return clock_ ? Now(*clock_.Get()) - start_ : elapsed_;
}

void StreamPosition::Pause() {
    const MutexLock guard(lock_);
    elapsed_ = StreamTime();
    clock_.Reset();
}

void StreamPosition::Rewind() {
    const MutexLock guard(lock_);
    elapsed_ = 0;
    clock_.Reset();
}

void StreamPosition::Rewind(LONGLONG origin) {
    Rewind();
    const MutexLock guard(lock_);
    origin_ = origin;
}

void StreamPosition::SetRate(double rate) {
    const MutexLock guard(lock_);
    rate_ = rate;
}

void StreamPosition::SetDuration(LONGLONG duration) {
    const MutexLock guard(lock_);
    duration_ = duration;
}

void StreamPosition::SetStop(LONGLONG stop) {
    const MutexLock guard(lock_);
    stop_ = stop;
}

LONGLONG StreamPosition::Current() {
    const MutexLock guard(lock_);
    const auto current = origin_ + static_cast<LONGLONG>(static_cast<double>(StreamTime()) * rate_);
    const LONGLONG within = duration_ > 0 ? std::min(current, duration_) : current;
    return stop_ >= 0 ? std::min(within, stop_) : within;
}

LONGLONG StreamPosition::Duration() {
    const MutexLock guard(lock_);
    return duration_;
}

LONGLONG StreamPosition::Stop() {
    const MutexLock guard(lock_);
    return stop_ >= 0 ? stop_ : duration_;
}

double StreamPosition::Rate() {
    const MutexLock guard(lock_);
    return rate_;
}

}  // namespace Vimbrel

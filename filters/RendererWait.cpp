#include "filters/RendererWait.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace Vimbrel {

namespace {

using Hundreds = std::chrono::duration<REFERENCE_TIME, std::ratio<1, 10'000'000>>;

// The clock is read again after each slice: it may be corrected or run at another speed.
constexpr REFERENCE_TIME slice = 200'000;

std::chrono::steady_clock::time_point After(Hundreds time) {
    return std::chrono::steady_clock::now() +
           std::chrono::duration_cast<std::chrono::steady_clock::duration>(time);
}

}  // namespace

void RendererWait::Activate(bool connected) {
    const MutexLock guard(lock_);
    mode_ = Mode::paused;
    connected_ = connected;
    ended_ = false;
    last_end_.reset();
}

void RendererWait::Pause() {
    const MutexLock guard(lock_);
    mode_ = Mode::paused;
    changed_.NotifyAll();
}

void RendererWait::Run(REFERENCE_TIME start) {
    const MutexLock guard(lock_);
    mode_ = Mode::running;
    start_ = start;
    changed_.NotifyAll();
}

void RendererWait::Stop() {
    MutexLock guard(lock_);
    mode_ = Mode::stopped;
    WaitUntilEmpty(guard);
    flushing_ = false;
    ended_ = false;
    last_end_.reset();
}

void RendererWait::BeginFlush() {
    MutexLock guard(lock_);
    flushing_ = true;
    WaitUntilEmpty(guard);
    ended_ = false;
    last_end_.reset();
}

void RendererWait::EndFlush() {
    const MutexLock guard(lock_);
    flushing_ = false;
}

void RendererWait::WaitUntilEmpty(MutexLock& guard) {
    changed_.NotifyAll();
    while (inside_ > 0) changed_.Wait(guard);
}

void RendererWait::SetClock(IReferenceClock* clock) {
    ComPtr<IReferenceClock> kept(clock);
    const MutexLock guard(lock_);
    std::swap(clock_, kept);
    changed_.NotifyAll();
}

bool RendererWait::IsCued() const {
    return mode_ != Mode::paused || !connected_ || ended_ || waiting_ > 0;
}

bool RendererWait::WaitUntilCued(DWORD milliseconds) {
    MutexLock guard(lock_);
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (!IsCued()) {
        if (milliseconds == INFINITE) {
            changed_.Wait(guard);
        } else if (!changed_.WaitUntil(guard, end)) {
            return IsCued();
        }
    }
    return true;
}

HRESULT RendererWait::Enter() {
    const MutexLock guard(lock_);
    if (mode_ == Mode::stopped) return VFW_E_WRONG_STATE;
    if (flushing_) return S_FALSE;
    if (ended_) return E_UNEXPECTED;
    ++inside_;
    return S_OK;
}

void RendererWait::Leave() {
    const MutexLock guard(lock_);
    if (--inside_ == 0) changed_.NotifyAll();
}

REFERENCE_TIME RendererWait::Remaining(std::optional<REFERENCE_TIME> time) const {
    REFERENCE_TIME now = 0;
    if (!time || !clock_ || FAILED(clock_->GetTime(&now))) return 0;
    return start_ + *time - now;
}

HRESULT RendererWait::WaitUntilDue(std::optional<REFERENCE_TIME> time) {
    MutexLock guard(lock_);
    ++waiting_;
    if (mode_ == Mode::paused) changed_.NotifyAll();
    HRESULT result = S_OK;
    for (;;) {
        result = mode_ == Mode::stopped ? VFW_E_WRONG_STATE : flushing_ ? S_FALSE : S_OK;
        if (result != S_OK) break;
        if (mode_ == Mode::paused) {
            changed_.Wait(guard);
            continue;
        }
        const REFERENCE_TIME remaining = Remaining(time);
        if (remaining <= 0) break;
        changed_.WaitUntil(guard, After(Hundreds(std::min(remaining, slice))));
    }
    --waiting_;
    return result;
}

void RendererWait::SetLastEnd(REFERENCE_TIME end) {
    const MutexLock guard(lock_);
    last_end_ = end;
}

std::optional<REFERENCE_TIME> RendererWait::LastEnd() {
    const MutexLock guard(lock_);
    return last_end_;
}

void RendererWait::SetEnded() {
    const MutexLock guard(lock_);
    ended_ = true;
}

}  // namespace Vimbrel

#include "platform/linux/ds/graph/GraphSeeking.h"

#include <algorithm>
#include <cmath>

namespace Vimbrel {

namespace {

constexpr double units = 10'000'000.0;
constexpr DWORD all_capabilities = AM_SEEKING_CanSeekAbsolute | AM_SEEKING_CanSeekForwards |
                                   AM_SEEKING_CanSeekBackwards | AM_SEEKING_CanGetCurrentPos |
                                   AM_SEEKING_CanGetStopPos | AM_SEEKING_CanGetDuration;

// The place that flags and a value stand for; false if they leave it as it is.
bool Resolve(const LONGLONG* value, DWORD flags, LONGLONG before, LONGLONG& place) {
    const DWORD positioning = flags & AM_SEEKING_PositioningBitsMask;
    if (!value || positioning == AM_SEEKING_NoPositioning) return false;
    place = positioning == AM_SEEKING_AbsolutePositioning ? *value : before + *value;
    place = std::max<LONGLONG>(place, 0);
    return true;
}

}  // namespace

HRESULT STDMETHODCALLTYPE GraphSeeking::GetCapabilities(DWORD* capabilities) {
    return Give(capabilities, all_capabilities);
}

HRESULT STDMETHODCALLTYPE GraphSeeking::GetDuration(LONGLONG* duration) {
    // A control operation under way has a fresh one, or will have.
    if (parts_.control.TryLock()) {
        RefreshDuration(parts_);
        parts_.control.Unlock();
    }
    return Give(duration, parts_.position.Duration());
}

HRESULT STDMETHODCALLTYPE GraphSeeking::GetStopPosition(LONGLONG* stop) {
    return Give(stop, parts_.position.Stop());
}

HRESULT STDMETHODCALLTYPE GraphSeeking::GetCurrentPosition(LONGLONG* current) {
    return Give(current, parts_.position.Current());
}

HRESULT STDMETHODCALLTYPE GraphSeeking::SetPositions(LONGLONG* current, DWORD current_flags,
                                                     LONGLONG* stop, DWORD stop_flags) {
    const MutexLock guard(parts_.control);
    const LONGLONG before = parts_.position.Current();
    LONGLONG place = before;
    LONGLONG end = -1;
    const bool moves = Resolve(current, current_flags, before, place);
    // A stop may also be relative to the new place.
    const bool incremental =
        (stop_flags & AM_SEEKING_PositioningBitsMask) == AM_SEEKING_IncrementalPositioning;
    const bool ends = Resolve(stop, stop_flags, incremental ? place : parts_.position.Stop(), end);
    if (!moves && !ends) return S_OK;
    const HRESULT hr = SeekGraph(parts_, place, ends ? end : -1);
    if (FAILED(hr)) return hr;
    if (ends) parts_.position.SetStop(end);
    if (moves && (current_flags & AM_SEEKING_ReturnTime) != 0) *current = place;
    if (ends && (stop_flags & AM_SEEKING_ReturnTime) != 0) *stop = end;
    return hr;
}

HRESULT STDMETHODCALLTYPE GraphSeeking::SetRate(double rate) {
    const MutexLock guard(parts_.control);
    return SetGraphRate(parts_, rate);
}

HRESULT STDMETHODCALLTYPE GraphSeeking::GetRate(double* rate) {
    return Give(rate, parts_.position.Rate());
}

namespace {

HRESULT GiveSeconds(REFTIME* target, HRESULT result, LONGLONG time) {
    if (!target) return E_POINTER;
    if (SUCCEEDED(result)) *target = static_cast<double>(time) / units;
    return result;
}

// False for what no time is.
bool FromSeconds(REFTIME seconds, LONGLONG& time) {
    const double value = std::round(seconds * units);
    if (!(std::abs(value) < 9.0e18)) return false;
    time = static_cast<LONGLONG>(value);
    return true;
}

}  // namespace

HRESULT STDMETHODCALLTYPE GraphPosition::get_Duration(REFTIME* length) {
    LONGLONG time = 0;
    const HRESULT hr = seeking_.GetDuration(&time);
    return GiveSeconds(length, hr, time);
}

HRESULT STDMETHODCALLTYPE GraphPosition::put_CurrentPosition(REFTIME time) {
    LONGLONG place = 0;
    if (!FromSeconds(time, place)) return E_INVALIDARG;
    return seeking_.SetPositions(&place, AM_SEEKING_AbsolutePositioning, nullptr,
                                 AM_SEEKING_NoPositioning);
}

HRESULT STDMETHODCALLTYPE GraphPosition::get_CurrentPosition(REFTIME* time) {
    LONGLONG current = 0;
    const HRESULT hr = seeking_.GetCurrentPosition(&current);
    return GiveSeconds(time, hr, current);
}

HRESULT STDMETHODCALLTYPE GraphPosition::get_StopTime(REFTIME* time) {
    LONGLONG stop = 0;
    const HRESULT hr = seeking_.GetStopPosition(&stop);
    return GiveSeconds(time, hr, stop);
}

HRESULT STDMETHODCALLTYPE GraphPosition::put_StopTime(REFTIME time) {
    LONGLONG stop = 0;
    if (!FromSeconds(time, stop)) return E_INVALIDARG;
    return seeking_.SetPositions(nullptr, AM_SEEKING_NoPositioning, &stop,
                                 AM_SEEKING_AbsolutePositioning);
}

HRESULT STDMETHODCALLTYPE GraphPosition::get_PrerollTime(REFTIME* time) {
    return GiveSeconds(time, S_OK, 0);
}

HRESULT STDMETHODCALLTYPE GraphPosition::put_PrerollTime(REFTIME) { return E_NOTIMPL; }
HRESULT STDMETHODCALLTYPE GraphPosition::put_Rate(double rate) { return seeking_.SetRate(rate); }
HRESULT STDMETHODCALLTYPE GraphPosition::get_Rate(double* rate) { return seeking_.GetRate(rate); }

HRESULT STDMETHODCALLTYPE GraphPosition::CanSeekForward(LONG* can) { return Give(can, LONG{-1}); }
HRESULT STDMETHODCALLTYPE GraphPosition::CanSeekBackward(LONG* can) { return Give(can, LONG{-1}); }

}  // namespace Vimbrel

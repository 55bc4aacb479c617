#include "platform/linux/ds/file/SplitterSeeking.h"

#include "platform/linux/ds/file/SplitterSource.h"

namespace Vimbrel {

namespace {

bool IsAbsolute(const LONGLONG* value, DWORD flags) {
    return value && (flags & AM_SEEKING_PositioningBitsMask) == AM_SEEKING_AbsolutePositioning;
}

}  // namespace

HRESULT STDMETHODCALLTYPE SplitterSeeking::GetCapabilities(DWORD* capabilities) {
    constexpr DWORD places =
        AM_SEEKING_CanSeekAbsolute | AM_SEEKING_CanSeekForwards | AM_SEEKING_CanSeekBackwards;
    constexpr DWORD known = AM_SEEKING_CanGetStopPos | AM_SEEKING_CanGetDuration;
    return Give(capabilities, source_.CanSeek() ? places | known : known);
}

HRESULT STDMETHODCALLTYPE SplitterSeeking::GetDuration(LONGLONG* duration) {
    return Give(duration, source_.Duration());
}

HRESULT STDMETHODCALLTYPE SplitterSeeking::GetStopPosition(LONGLONG* stop) {
    const LONGLONG set = source_.CurrentSegment().stop;
    return Give(stop, set >= 0 ? set : source_.Duration());
}

HRESULT STDMETHODCALLTYPE SplitterSeeking::GetCurrentPosition(LONGLONG* current) {
    return Give(current, source_.CurrentSegment().start);
}

HRESULT STDMETHODCALLTYPE SplitterSeeking::SetPositions(LONGLONG* current, DWORD current_flags,
                                                        LONGLONG* stop, DWORD stop_flags) {
    Segment segment = source_.CurrentSegment();
    if (IsAbsolute(current, current_flags)) segment.start = *current;
    if (IsAbsolute(stop, stop_flags)) segment.stop = *stop;
    return source_.Seek(pin_, segment);
}

HRESULT STDMETHODCALLTYPE SplitterSeeking::SetRate(double rate) { return source_.SetRate(rate); }

HRESULT STDMETHODCALLTYPE SplitterSeeking::GetRate(double* rate) {
    return Give(rate, source_.CurrentSegment().rate);
}

}  // namespace Vimbrel

#include "platform/linux/ds/file/SplitterSeeking.h"

#include "platform/linux/ds/file/SplitterSource.h"

namespace Vimbrel {

namespace {

template <class Value>
HRESULT Give(Value* target, Value value) {
    if (!target) return E_POINTER;
    *target = value;
    return S_OK;
}

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

HRESULT STDMETHODCALLTYPE SplitterSeeking::CheckCapabilities(DWORD* capabilities) {
    if (!capabilities) return E_POINTER;
    DWORD able = 0;
    GetCapabilities(&able);
    const DWORD asked = *capabilities;
    *capabilities &= able;
    if (*capabilities == asked) return S_OK;
    return *capabilities == 0 ? E_FAIL : S_FALSE;
}

HRESULT STDMETHODCALLTYPE SplitterSeeking::IsFormatSupported(const GUID* format) {
    if (!format) return E_POINTER;
    return *format == TIME_FORMAT_MEDIA_TIME ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE SplitterSeeking::QueryPreferredFormat(GUID* format) {
    return Give(format, GUID{TIME_FORMAT_MEDIA_TIME});
}

HRESULT STDMETHODCALLTYPE SplitterSeeking::GetTimeFormat(GUID* format) {
    return Give(format, GUID{TIME_FORMAT_MEDIA_TIME});
}

HRESULT STDMETHODCALLTYPE SplitterSeeking::IsUsingTimeFormat(const GUID* format) {
    return IsFormatSupported(format);
}

HRESULT STDMETHODCALLTYPE SplitterSeeking::SetTimeFormat(const GUID* format) {
    const HRESULT hr = IsFormatSupported(format);
    return hr == S_FALSE ? E_INVALIDARG : hr;
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

HRESULT STDMETHODCALLTYPE SplitterSeeking::ConvertTimeFormat(LONGLONG* target,
                                                             const GUID* target_format,
                                                             LONGLONG source,
                                                             const GUID* source_format) {
    if (!target) return E_POINTER;
    for (const GUID* const format : {target_format, source_format}) {
        if (format && *format != TIME_FORMAT_MEDIA_TIME) return E_INVALIDARG;
    }
    *target = source;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE SplitterSeeking::SetPositions(LONGLONG* current, DWORD current_flags,
                                                        LONGLONG* stop, DWORD stop_flags) {
    Segment segment = source_.CurrentSegment();
    if (IsAbsolute(current, current_flags)) segment.start = *current;
    if (IsAbsolute(stop, stop_flags)) segment.stop = *stop;
    return source_.Seek(pin_, segment);
}

HRESULT STDMETHODCALLTYPE SplitterSeeking::GetPositions(LONGLONG* current, LONGLONG* stop) {
    if (current) GetCurrentPosition(current);
    if (stop) GetStopPosition(stop);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE SplitterSeeking::GetAvailable(LONGLONG* earliest, LONGLONG* latest) {
    if (earliest) *earliest = 0;
    return latest ? GetDuration(latest) : S_OK;
}

HRESULT STDMETHODCALLTYPE SplitterSeeking::SetRate(double rate) { return source_.SetRate(rate); }

HRESULT STDMETHODCALLTYPE SplitterSeeking::GetRate(double* rate) {
    return Give(rate, source_.CurrentSegment().rate);
}

HRESULT STDMETHODCALLTYPE SplitterSeeking::GetPreroll(LONGLONG* preroll) {
    return Give(preroll, LONGLONG{0});
}

}  // namespace Vimbrel

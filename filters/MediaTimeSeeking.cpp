#include "filters/MediaTimeSeeking.h"

#include <initializer_list>

namespace Vimbrel {

HRESULT STDMETHODCALLTYPE MediaTimeSeeking::CheckCapabilities(DWORD* capabilities) {
    if (!capabilities) return E_POINTER;
    DWORD able = 0;
    GetCapabilities(&able);
    const DWORD asked = *capabilities;
    *capabilities &= able;
    if (*capabilities == asked) return S_OK;
    return *capabilities == 0 ? E_FAIL : S_FALSE;
}

HRESULT STDMETHODCALLTYPE MediaTimeSeeking::IsFormatSupported(const GUID* format) {
    if (!format) return E_POINTER;
    return *format == TIME_FORMAT_MEDIA_TIME ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE MediaTimeSeeking::QueryPreferredFormat(GUID* format) {
    return Give(format, GUID{TIME_FORMAT_MEDIA_TIME});
}

HRESULT STDMETHODCALLTYPE MediaTimeSeeking::GetTimeFormat(GUID* format) {
    return Give(format, GUID{TIME_FORMAT_MEDIA_TIME});
}

HRESULT STDMETHODCALLTYPE MediaTimeSeeking::IsUsingTimeFormat(const GUID* format) {
    return IsFormatSupported(format);
}

HRESULT STDMETHODCALLTYPE MediaTimeSeeking::SetTimeFormat(const GUID* format) {
    const HRESULT hr = IsFormatSupported(format);
    return hr == S_FALSE ? E_INVALIDARG : hr;
}

HRESULT STDMETHODCALLTYPE MediaTimeSeeking::ConvertTimeFormat(LONGLONG* target,
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

HRESULT STDMETHODCALLTYPE MediaTimeSeeking::GetPositions(LONGLONG* current, LONGLONG* stop) {
    if (current) GetCurrentPosition(current);
    if (stop) GetStopPosition(stop);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaTimeSeeking::GetAvailable(LONGLONG* earliest, LONGLONG* latest) {
    if (earliest) *earliest = 0;
    return latest ? GetDuration(latest) : S_OK;
}

HRESULT STDMETHODCALLTYPE MediaTimeSeeking::GetPreroll(LONGLONG* preroll) {
    return Give(preroll, LONGLONG{0});
}

}  // namespace Vimbrel

#include "filters/PosPassThru.h"

namespace Vimbrel {

namespace {

// Calls an operation of the pin upstream.
template <class Interface, class... Parameters, class... Arguments>
HRESULT Ask(CBasePin& input, HRESULT (STDMETHODCALLTYPE Interface::*operation)(Parameters...),
            Arguments... arguments) {
    const ComPtr<IPin> peer = input.Peer();
    if (!peer) return VFW_E_NOT_CONNECTED;
    const ComPtr<Interface> upstream = peer.As<Interface>();
    return upstream ? (upstream.Get()->*operation)(arguments...) : E_NOTIMPL;
}

}  // namespace

void* CPosPassThru::FindInterface(REFIID iid) {
    if (iid == __uuidof(IMediaSeeking)) return static_cast<IMediaSeeking*>(&seeking_);
    if (iid == __uuidof(IMediaPosition)) return static_cast<IMediaPosition*>(&position_);
    return nullptr;
}

HRESULT STDMETHODCALLTYPE SeekingPassThru::GetCapabilities(DWORD* capabilities) {
    return Ask(input_, &IMediaSeeking::GetCapabilities, capabilities);
}
HRESULT STDMETHODCALLTYPE SeekingPassThru::CheckCapabilities(DWORD* capabilities) {
    return Ask(input_, &IMediaSeeking::CheckCapabilities, capabilities);
}
HRESULT STDMETHODCALLTYPE SeekingPassThru::IsFormatSupported(const GUID* format) {
    return Ask(input_, &IMediaSeeking::IsFormatSupported, format);
}
HRESULT STDMETHODCALLTYPE SeekingPassThru::QueryPreferredFormat(GUID* format) {
    return Ask(input_, &IMediaSeeking::QueryPreferredFormat, format);
}
HRESULT STDMETHODCALLTYPE SeekingPassThru::GetTimeFormat(GUID* format) {
    return Ask(input_, &IMediaSeeking::GetTimeFormat, format);
}
HRESULT STDMETHODCALLTYPE SeekingPassThru::IsUsingTimeFormat(const GUID* format) {
    return Ask(input_, &IMediaSeeking::IsUsingTimeFormat, format);
}
HRESULT STDMETHODCALLTYPE SeekingPassThru::SetTimeFormat(const GUID* format) {
    return Ask(input_, &IMediaSeeking::SetTimeFormat, format);
}
HRESULT STDMETHODCALLTYPE SeekingPassThru::GetDuration(LONGLONG* duration) {
    return Ask(input_, &IMediaSeeking::GetDuration, duration);
}
HRESULT STDMETHODCALLTYPE SeekingPassThru::GetStopPosition(LONGLONG* stop) {
    return Ask(input_, &IMediaSeeking::GetStopPosition, stop);
}
HRESULT STDMETHODCALLTYPE SeekingPassThru::GetCurrentPosition(LONGLONG* current) {
    return Ask(input_, &IMediaSeeking::GetCurrentPosition, current);
}
HRESULT STDMETHODCALLTYPE SeekingPassThru::ConvertTimeFormat(LONGLONG* target,
                                                             const GUID* target_format,
                                                             LONGLONG source,
                                                             const GUID* source_format) {
    return Ask(input_, &IMediaSeeking::ConvertTimeFormat, target, target_format, source,
               source_format);
}
HRESULT STDMETHODCALLTYPE SeekingPassThru::SetPositions(LONGLONG* current, DWORD current_flags,
                                                        LONGLONG* stop, DWORD stop_flags) {
    return Ask(input_, &IMediaSeeking::SetPositions, current, current_flags, stop, stop_flags);
}
HRESULT STDMETHODCALLTYPE SeekingPassThru::GetPositions(LONGLONG* current, LONGLONG* stop) {
    return Ask(input_, &IMediaSeeking::GetPositions, current, stop);
}
HRESULT STDMETHODCALLTYPE SeekingPassThru::GetAvailable(LONGLONG* earliest, LONGLONG* latest) {
    return Ask(input_, &IMediaSeeking::GetAvailable, earliest, latest);
}
HRESULT STDMETHODCALLTYPE SeekingPassThru::SetRate(double rate) {
    return Ask(input_, &IMediaSeeking::SetRate, rate);
}
HRESULT STDMETHODCALLTYPE SeekingPassThru::GetRate(double* rate) {
    return Ask(input_, &IMediaSeeking::GetRate, rate);
}
HRESULT STDMETHODCALLTYPE SeekingPassThru::GetPreroll(LONGLONG* preroll) {
    return Ask(input_, &IMediaSeeking::GetPreroll, preroll);
}

HRESULT STDMETHODCALLTYPE PositionPassThru::get_Duration(REFTIME* length) {
    return Ask(input_, &IMediaPosition::get_Duration, length);
}
HRESULT STDMETHODCALLTYPE PositionPassThru::put_CurrentPosition(REFTIME time) {
    return Ask(input_, &IMediaPosition::put_CurrentPosition, time);
}
HRESULT STDMETHODCALLTYPE PositionPassThru::get_CurrentPosition(REFTIME* time) {
    return Ask(input_, &IMediaPosition::get_CurrentPosition, time);
}
HRESULT STDMETHODCALLTYPE PositionPassThru::get_StopTime(REFTIME* time) {
    return Ask(input_, &IMediaPosition::get_StopTime, time);
}
HRESULT STDMETHODCALLTYPE PositionPassThru::put_StopTime(REFTIME time) {
    return Ask(input_, &IMediaPosition::put_StopTime, time);
}
HRESULT STDMETHODCALLTYPE PositionPassThru::get_PrerollTime(REFTIME* time) {
    return Ask(input_, &IMediaPosition::get_PrerollTime, time);
}
HRESULT STDMETHODCALLTYPE PositionPassThru::put_PrerollTime(REFTIME time) {
    return Ask(input_, &IMediaPosition::put_PrerollTime, time);
}
HRESULT STDMETHODCALLTYPE PositionPassThru::put_Rate(double rate) {
    return Ask(input_, &IMediaPosition::put_Rate, rate);
}
HRESULT STDMETHODCALLTYPE PositionPassThru::get_Rate(double* rate) {
    return Ask(input_, &IMediaPosition::get_Rate, rate);
}
HRESULT STDMETHODCALLTYPE PositionPassThru::CanSeekForward(LONG* can) {
    return Ask(input_, &IMediaPosition::CanSeekForward, can);
}
HRESULT STDMETHODCALLTYPE PositionPassThru::CanSeekBackward(LONG* can) {
    return Ask(input_, &IMediaPosition::CanSeekBackward, can);
}

}  // namespace Vimbrel

// Position and seeking of a filter that leaves both to the filter upstream.
#pragma once

#include "filters/BasePin.h"
#include "filters/Face.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Asks the pin that `input` is connected to. VFW_E_NOT_CONNECTED without one, E_NOTIMPL if it has
// no such interface.
class SeekingPassThru final : public Face<IMediaSeeking> {
public:
    SeekingPassThru(IUnknown& owner, CBasePin& input) : Face(owner), input_(input) {}

    HRESULT STDMETHODCALLTYPE GetCapabilities(DWORD* capabilities) override;
    HRESULT STDMETHODCALLTYPE CheckCapabilities(DWORD* capabilities) override;
    HRESULT STDMETHODCALLTYPE IsFormatSupported(const GUID* format) override;
    HRESULT STDMETHODCALLTYPE QueryPreferredFormat(GUID* format) override;
    HRESULT STDMETHODCALLTYPE GetTimeFormat(GUID* format) override;
    HRESULT STDMETHODCALLTYPE IsUsingTimeFormat(const GUID* format) override;
    HRESULT STDMETHODCALLTYPE SetTimeFormat(const GUID* format) override;
    HRESULT STDMETHODCALLTYPE GetDuration(LONGLONG* duration) override;
    HRESULT STDMETHODCALLTYPE GetStopPosition(LONGLONG* stop) override;
    HRESULT STDMETHODCALLTYPE GetCurrentPosition(LONGLONG* current) override;
    HRESULT STDMETHODCALLTYPE ConvertTimeFormat(LONGLONG* target, const GUID* target_format,
                                                LONGLONG source,
                                                const GUID* source_format) override;
    HRESULT STDMETHODCALLTYPE SetPositions(LONGLONG* current, DWORD current_flags, LONGLONG* stop,
                                           DWORD stop_flags) override;
    HRESULT STDMETHODCALLTYPE GetPositions(LONGLONG* current, LONGLONG* stop) override;
    HRESULT STDMETHODCALLTYPE GetAvailable(LONGLONG* earliest, LONGLONG* latest) override;
    HRESULT STDMETHODCALLTYPE SetRate(double rate) override;
    HRESULT STDMETHODCALLTYPE GetRate(double* rate) override;
    HRESULT STDMETHODCALLTYPE GetPreroll(LONGLONG* preroll) override;

private:
    CBasePin& input_;
};

class PositionPassThru final : public DispatchFace<IMediaPosition> {
public:
    PositionPassThru(IUnknown& owner, CBasePin& input) : DispatchFace(owner), input_(input) {}

    HRESULT STDMETHODCALLTYPE get_Duration(REFTIME* length) override;
    HRESULT STDMETHODCALLTYPE put_CurrentPosition(REFTIME time) override;
    HRESULT STDMETHODCALLTYPE get_CurrentPosition(REFTIME* time) override;
    HRESULT STDMETHODCALLTYPE get_StopTime(REFTIME* time) override;
    HRESULT STDMETHODCALLTYPE put_StopTime(REFTIME time) override;
    HRESULT STDMETHODCALLTYPE get_PrerollTime(REFTIME* time) override;
    HRESULT STDMETHODCALLTYPE put_PrerollTime(REFTIME time) override;
    HRESULT STDMETHODCALLTYPE put_Rate(double rate) override;
    HRESULT STDMETHODCALLTYPE get_Rate(double* rate) override;
    HRESULT STDMETHODCALLTYPE CanSeekForward(LONG* can) override;
    HRESULT STDMETHODCALLTYPE CanSeekBackward(LONG* can) override;

private:
    CBasePin& input_;
};
#pragma GCC diagnostic pop

// Both, as members of a filter or of an output pin.
class CPosPassThru {
public:
    CPosPassThru(IUnknown& owner, CBasePin& input)
        : seeking_(owner, input), position_(owner, input) {}

    // The interface without a reference, null if it is neither.
    void* FindInterface(REFIID iid);

private:
    SeekingPassThru seeking_;
    PositionPassThru position_;
};

}  // namespace Vimbrel

// Position and rate of a splitter, asked through one of its pins.
#pragma once

#include "filters/Face.h"

namespace Vimbrel {

class SplitterSource;

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// In units of 100 nanoseconds, the one time format.
class SplitterSeeking final : public Face<IMediaSeeking> {
public:
    SplitterSeeking(IPin& pin, SplitterSource& source) : Face(pin), pin_(pin), source_(source) {}

    HRESULT STDMETHODCALLTYPE GetCapabilities(DWORD* capabilities) override;
    HRESULT STDMETHODCALLTYPE CheckCapabilities(DWORD* capabilities) override;
    HRESULT STDMETHODCALLTYPE IsFormatSupported(const GUID* format) override;
    HRESULT STDMETHODCALLTYPE QueryPreferredFormat(GUID* format) override;
    HRESULT STDMETHODCALLTYPE GetTimeFormat(GUID* format) override;
    HRESULT STDMETHODCALLTYPE IsUsingTimeFormat(const GUID* format) override;
    HRESULT STDMETHODCALLTYPE SetTimeFormat(const GUID* format) override;
    HRESULT STDMETHODCALLTYPE GetDuration(LONGLONG* duration) override;
    HRESULT STDMETHODCALLTYPE GetStopPosition(LONGLONG* stop) override;
    // Where the last seek went. The graph knows where it plays.
    HRESULT STDMETHODCALLTYPE GetCurrentPosition(LONGLONG* current) override;
    HRESULT STDMETHODCALLTYPE ConvertTimeFormat(LONGLONG* target, const GUID* target_format,
                                                LONGLONG source,
                                                const GUID* source_format) override;
    // Absolute positions only.
    HRESULT STDMETHODCALLTYPE SetPositions(LONGLONG* current, DWORD current_flags, LONGLONG* stop,
                                           DWORD stop_flags) override;
    HRESULT STDMETHODCALLTYPE GetPositions(LONGLONG* current, LONGLONG* stop) override;
    HRESULT STDMETHODCALLTYPE GetAvailable(LONGLONG* earliest, LONGLONG* latest) override;
    // Counts from the next seek on.
    HRESULT STDMETHODCALLTYPE SetRate(double rate) override;
    HRESULT STDMETHODCALLTYPE GetRate(double* rate) override;
    HRESULT STDMETHODCALLTYPE GetPreroll(LONGLONG* preroll) override;

private:
    IPin& pin_;
    SplitterSource& source_;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

// Position and rate of a splitter, asked through one of its pins.
#pragma once

#include "filters/MediaTimeSeeking.h"

namespace Vimbrel {

class SplitterSource;

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// In units of 100 nanoseconds, the one time format.
class SplitterSeeking final : public MediaTimeSeeking {
public:
    SplitterSeeking(IPin& pin, SplitterSource& source)
        : MediaTimeSeeking(pin), pin_(pin), source_(source) {}

    HRESULT STDMETHODCALLTYPE GetCapabilities(DWORD* capabilities) override;
    HRESULT STDMETHODCALLTYPE GetDuration(LONGLONG* duration) override;
    HRESULT STDMETHODCALLTYPE GetStopPosition(LONGLONG* stop) override;
    // Where the last seek went. The graph knows where it plays.
    HRESULT STDMETHODCALLTYPE GetCurrentPosition(LONGLONG* current) override;
    // Absolute positions only.
    HRESULT STDMETHODCALLTYPE SetPositions(LONGLONG* current, DWORD current_flags, LONGLONG* stop,
                                           DWORD stop_flags) override;
    // Counts from the next seek on.
    HRESULT STDMETHODCALLTYPE SetRate(double rate) override;
    HRESULT STDMETHODCALLTYPE GetRate(double* rate) override;

private:
    IPin& pin_;
    SplitterSource& source_;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

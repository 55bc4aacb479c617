// Position, stop time and rate of a graph: two interfaces on one core.
#pragma once

#include "filters/MediaTimeSeeking.h"
#include "platform/linux/ds/graph/GraphStates.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// In units of 100 nanoseconds, the one time format. Reading a position or the duration never waits
// for a control operation.
class GraphSeeking final : public MediaTimeSeeking {
public:
    GraphSeeking(IUnknown& owner, GraphParts& parts) : MediaTimeSeeking(owner), parts_(parts) {}

    HRESULT STDMETHODCALLTYPE GetCapabilities(DWORD* capabilities) override;
    HRESULT STDMETHODCALLTYPE GetDuration(LONGLONG* duration) override;
    HRESULT STDMETHODCALLTYPE GetStopPosition(LONGLONG* stop) override;
    HRESULT STDMETHODCALLTYPE GetCurrentPosition(LONGLONG* current) override;
    HRESULT STDMETHODCALLTYPE SetPositions(LONGLONG* current, DWORD current_flags, LONGLONG* stop,
                                           DWORD stop_flags) override;
    HRESULT STDMETHODCALLTYPE SetRate(double rate) override;
    HRESULT STDMETHODCALLTYPE GetRate(double* rate) override;

private:
    GraphParts& parts_;
};

// In seconds.
class GraphPosition final : public DispatchFace<IMediaPosition> {
public:
    GraphPosition(IUnknown& owner, GraphSeeking& seeking)
        : DispatchFace(owner), seeking_(seeking) {}

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
    GraphSeeking& seeking_;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

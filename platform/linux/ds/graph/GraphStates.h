// What a graph consists of, and its changes of state.
#pragma once

#include <string>
#include <vector>

#include "base/ThreadSafety.h"
#include "com/ComPtr.h"
#include "filters/FilterNames.h"
#include "platform/linux/ds/graph/GraphEvents.h"
#include "platform/linux/ds/graph/StreamPosition.h"

namespace Vimbrel {

// `control` is held for a whole control operation. No streaming thread takes it.
struct GraphParts {
    struct Entry {
        ComPtr<IBaseFilter> filter;
        std::wstring name;
    };

    Mutex control;
    std::vector<Entry> filters GUARDED_BY(control);
    FILTER_STATE state GUARDED_BY(control) = State_Stopped;
    ComPtr<IReferenceClock> clock GUARDED_BY(control);
    // The application has chosen the clock, or that there is none.
    bool clock_set GUARDED_BY(control) = false;
    StreamPosition position;
    GraphEventQueue events;
};

// The filters from the renderers upstream, sources last.
std::vector<ComPtr<IBaseFilter>> FiltersUpstream(GraphParts& parts) REQUIRES(parts.control);
// Those that say so, and those without an output.
std::vector<ComPtr<IBaseFilter>> Renderers(GraphParts& parts) REQUIRES(parts.control);

// S_FALSE if a renderer has no sample yet.
HRESULT PauseGraph(GraphParts& parts) REQUIRES(parts.control);
// Waits for the first samples; S_FALSE if they do not come in time, and the graph runs all the
// same. A failure, also that of a filter which runs already, stops the graph.
HRESULT RunGraph(GraphParts& parts) REQUIRES(parts.control);
HRESULT StopGraph(GraphParts& parts) REQUIRES(parts.control);
// VFW_S_STATE_INTERMEDIATE if the time comes before the samples; the failure of a filter that can
// no longer stream. Needs no lock, so that others may control the graph meanwhile.
HRESULT WaitForSamples(const std::vector<ComPtr<IBaseFilter>>& filters, DWORD milliseconds);
// Null: no clock.
HRESULT SetGraphClock(GraphParts& parts, IReferenceClock* clock) REQUIRES(parts.control);
// One of a filter's, else the graph's own.
HRESULT SetDefaultClock(GraphParts& parts) REQUIRES(parts.control);

// Moves to `position` in the media, and to `stop` unless it is below 0, at the rate that is set.
// Running goes on afterwards.
HRESULT SeekGraph(GraphParts& parts, LONGLONG position, LONGLONG stop) REQUIRES(parts.control);
HRESULT SetGraphRate(GraphParts& parts, double rate) REQUIRES(parts.control);
void RefreshDuration(GraphParts& parts) REQUIRES(parts.control);

}  // namespace Vimbrel

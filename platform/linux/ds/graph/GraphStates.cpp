#include "platform/linux/ds/graph/GraphStates.h"

#include <algorithm>
#include <chrono>

#include "filters/Enumerators.h"
#include "filters/GraphWalk.h"
#include "platform/linux/ds/graph/GraphClock.h"

namespace Vimbrel {

namespace {

// How long running waits for the first samples.
constexpr DWORD cue_milliseconds = 5000;

using Filters = std::vector<ComPtr<IBaseFilter>>;

bool Has(const Filters& filters, IBaseFilter* filter) {
    return std::any_of(filters.begin(), filters.end(),
                       [&](const auto& each) { return each.Get() == filter; });
}

// What is downstream of `filter` comes before it. A circle ends where it began.
void Visit(const ComPtr<IBaseFilter>& filter, Filters& visited, Filters& ordered) {
    if (Has(visited, filter.Get())) return;
    visited.push_back(filter);
    for (const ComPtr<IPin>& pin : PinsOf(*filter.Get())) {
        if (!IsOutput(*pin.Get())) continue;
        const ComPtr<IPin> peer = PeerOf(*pin.Get());
        if (!peer) continue;
        if (const ComPtr<IBaseFilter> next = FilterOf(*peer.Get())) Visit(next, visited, ordered);
    }
    ordered.push_back(filter);
}

bool IsRenderer(const ComPtr<IBaseFilter>& filter) {
    if (const auto flags = filter.As<IAMFilterMiscFlags>())
        return (flags->GetMiscFlags() & AM_FILTER_MISC_FLAGS_IS_RENDERER) != 0;
    const std::vector<ComPtr<IPin>> pins = PinsOf(*filter.Get());
    return !pins.empty() && std::none_of(pins.begin(), pins.end(),
                                         [](const auto& pin) { return IsOutput(*pin.Get()); });
}

// The seeking of each renderer, which reaches its source.
std::vector<ComPtr<IMediaSeeking>> Seekings(GraphParts& parts) REQUIRES(parts.control) {
    std::vector<ComPtr<IMediaSeeking>> seekings;
    for (const ComPtr<IBaseFilter>& renderer : Renderers(parts)) {
        if (auto seeking = renderer.As<IMediaSeeking>()) seekings.push_back(seeking);
    }
    return seekings;
}

HRESULT GiveRate(GraphParts& parts, double rate) REQUIRES(parts.control) {
    HRESULT result = E_NOTIMPL;
    for (const ComPtr<IMediaSeeking>& seeking : Seekings(parts)) {
        const HRESULT hr = seeking->SetRate(rate);
        if (SUCCEEDED(hr) || result == E_NOTIMPL) result = hr;
    }
    if (SUCCEEDED(result)) parts.position.SetRate(rate);
    return result;
}

HRESULT Start(GraphParts& parts) REQUIRES(parts.control) {
    const REFERENCE_TIME start = parts.position.Run(parts.clock.Get());
    for (const ComPtr<IBaseFilter>& filter : FiltersUpstream(parts)) {
        const HRESULT hr = filter->Run(start);
        if (FAILED(hr)) {
            StopGraph(parts);
            return hr;
        }
    }
    parts.state = State_Running;
    return S_OK;
}

}  // namespace

Filters FiltersUpstream(GraphParts& parts) {
    Filters visited;
    Filters ordered;
    for (const GraphParts::Entry& entry : parts.filters) Visit(entry.filter, visited, ordered);
    return ordered;
}

Filters Renderers(GraphParts& parts) {
    Filters renderers;
    for (const GraphParts::Entry& entry : parts.filters) {
        if (IsRenderer(entry.filter)) renderers.push_back(entry.filter);
    }
    return renderers;
}

HRESULT PauseGraph(GraphParts& parts) {
    if (parts.state == State_Stopped) {
        if (!parts.clock_set && !parts.clock) SetDefaultClock(parts);
        parts.events.ExpectEnds(Renderers(parts).size());
        RefreshDuration(parts);
    } else if (parts.state == State_Running) {
        parts.position.Pause();
    }
    HRESULT result = S_OK;
    for (const ComPtr<IBaseFilter>& filter : FiltersUpstream(parts)) {
        const HRESULT hr = filter->Pause();
        if (FAILED(hr)) {
            StopGraph(parts);
            return hr;
        }
        if (hr != S_OK) result = S_FALSE;
    }
    parts.state = State_Paused;
    return result;
}

HRESULT WaitForSamples(const Filters& filters, DWORD milliseconds) {
    // A live source brings nothing in Pause, so that there is no use in waiting. The renderers,
    // which come first, do not know.
    for (const ComPtr<IBaseFilter>& filter : filters) {
        FILTER_STATE state = State_Stopped;
        const HRESULT hr = filter->GetState(0, &state);
        if (FAILED(hr) || hr == VFW_S_CANT_CUE) return hr;
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    HRESULT result = S_OK;
    for (const ComPtr<IBaseFilter>& filter : filters) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        FILTER_STATE state = State_Stopped;
        const HRESULT hr = filter->GetState(
            milliseconds == INFINITE
                ? INFINITE
                : static_cast<DWORD>(std::max<std::chrono::milliseconds::rep>(left.count(), 0)),
            &state);
        if (hr == VFW_S_STATE_INTERMEDIATE) result = hr;
    }
    return result;
}

HRESULT RunGraph(GraphParts& parts) {
    const bool runs = parts.state == State_Running;
    const std::uint64_t earlier = parts.events.Newest();
    HRESULT hr = S_OK;
    if (parts.state == State_Stopped) hr = PauseGraph(parts);
    if (FAILED(hr)) return hr;
    // A graph that runs may have lost a device.
    const HRESULT cued = WaitForSamples(FiltersUpstream(parts), runs ? 0 : cue_milliseconds);
    if (FAILED(cued)) {
        StopGraph(parts);
        return cued;
    }
    if (runs) return S_OK;
    hr = Start(parts);
    // The devices stream anew. While one is still gone, its loss has to be reported.
    if (SUCCEEDED(hr)) parts.events.Drop(EC_DEVICE_LOST, earlier);
    return hr == S_OK && cued != S_OK ? S_FALSE : hr;
}

HRESULT StopGraph(GraphParts& parts) {
    HRESULT result = S_OK;
    for (const ComPtr<IBaseFilter>& filter : FiltersUpstream(parts)) {
        const HRESULT hr = filter->Stop();
        if (FAILED(hr)) result = hr;
    }
    parts.state = State_Stopped;
    parts.position.Rewind();
    return result;
}

HRESULT SetGraphClock(GraphParts& parts, IReferenceClock* clock) {
    if (parts.state != State_Stopped) return VFW_E_NOT_STOPPED;
    parts.clock = ComPtr<IReferenceClock>(clock);
    for (const GraphParts::Entry& entry : parts.filters) entry.filter->SetSyncSource(clock);
    return S_OK;
}

HRESULT SetDefaultClock(GraphParts& parts) {
    for (const GraphParts::Entry& entry : parts.filters) {
        if (const auto clock = entry.filter.As<IReferenceClock>())
            return SetGraphClock(parts, clock.Get());
    }
    return SetGraphClock(parts, MakeCom<GraphClock>().Get());
}

HRESULT SeekGraph(GraphParts& parts, LONGLONG position, LONGLONG stop) {
    const FILTER_STATE before = parts.state;
    if (before == State_Running) {
        const HRESULT hr = PauseGraph(parts);
        if (FAILED(hr)) return hr;
    }
    HRESULT result = E_NOTIMPL;
    for (const ComPtr<IMediaSeeking>& seeking : Seekings(parts)) {
        LONGLONG current = position;
        LONGLONG end = stop;
        const HRESULT hr = seeking->SetPositions(
            &current, AM_SEEKING_AbsolutePositioning, &end,
            stop < 0 ? AM_SEEKING_NoPositioning : AM_SEEKING_AbsolutePositioning);
        // One stream that can be sought is enough; a failure of another is no reason to stay.
        if (SUCCEEDED(hr) || result == E_NOTIMPL) result = hr;
    }
    if (SUCCEEDED(result)) {
        parts.events.ExpectEnds(Renderers(parts).size());
        parts.position.Rewind(position);
    }
    if (before != State_Running) return result;
    const HRESULT hr = RunGraph(parts);
    return FAILED(hr) ? hr : result;
}

HRESULT SetGraphRate(GraphParts& parts, double rate) {
    if (!(rate > 0)) return E_INVALIDARG;
    const FILTER_STATE before = parts.state;
    const LONGLONG current = parts.position.Current();
    if (before == State_Running) {
        const HRESULT hr = PauseGraph(parts);
        if (FAILED(hr)) return hr;
    }
    const double rate_before = parts.position.Rate();
    HRESULT result = GiveRate(parts, rate);
    if (SUCCEEDED(result)) {
        const HRESULT sought = SeekGraph(parts, current, -1);
        // What streams on at the old rate must not be counted at the new one.
        if (FAILED(sought) && before != State_Stopped) {
            GiveRate(parts, rate_before);
            result = sought;
        }
    }
    if (before != State_Running) return result;
    const HRESULT hr = RunGraph(parts);
    return FAILED(hr) ? hr : result;
}

void RefreshDuration(GraphParts& parts) {
    LONGLONG longest = 0;
    for (const ComPtr<IMediaSeeking>& seeking : Seekings(parts)) {
        LONGLONG duration = 0;
        if (SUCCEEDED(seeking->GetDuration(&duration))) longest = std::max(longest, duration);
    }
    parts.position.SetDuration(longest);
}

}  // namespace Vimbrel

#include "platform/linux/ds/graph/GraphConnector.h"

#include <algorithm>

#include "filters/Enumerators.h"
#include "filters/GraphWalk.h"

namespace Vimbrel {

namespace {

using Filters = std::vector<ComPtr<IBaseFilter>>;

PIN_DIRECTION DirectionOf(IPin& pin) {
    PIN_DIRECTION direction = PINDIR_INPUT;
    pin.QueryDirection(&direction);
    return direction;
}

std::vector<ComPtr<IPin>> FreePins(IBaseFilter& filter, PIN_DIRECTION direction) {
    std::vector<ComPtr<IPin>> pins = PinsOf(filter);
    std::erase_if(pins, [&](const ComPtr<IPin>& pin) {
        return DirectionOf(*pin.Get()) != direction || PeerOf(*pin.Get());
    });
    return pins;
}

bool HasOutputs(IBaseFilter& filter) {
    for (const ComPtr<IPin>& pin : PinsOf(filter)) {
        if (IsOutput(*pin.Get())) return true;
    }
    return false;
}

bool Has(const Filters& filters, const ComPtr<IBaseFilter>& filter) {
    return std::any_of(filters.begin(), filters.end(),
                       [&](const auto& each) { return each.Get() == filter.Get(); });
}

}  // namespace

GraphConnector::GraphConnector(Filters filters) : candidates_(std::move(filters)) {
    std::stable_partition(candidates_.begin(), candidates_.end(),
                          [](const auto& filter) { return HasOutputs(*filter.Get()); });
}

void GraphConnector::Undo(IPin& output) {
    const ComPtr<IPin> input = PeerOf(output);
    if (!input) return;
    if (const ComPtr<IBaseFilter> downstream = FilterOf(*input.Get())) {
        for (const ComPtr<IPin>& pin : PinsOf(*downstream.Get())) {
            if (IsOutput(*pin.Get())) Undo(*pin.Get());
        }
    }
    input->Disconnect();
    output.Disconnect();
}

HRESULT GraphConnector::Connect(IPin& output, IPin& input) {
    Filters used{FilterOf(output), FilterOf(input)};
    return ConnectThrough(output, input, used);
}

HRESULT GraphConnector::ConnectThrough(IPin& output, IPin& input, Filters& used) {
    HRESULT hr = output.Connect(&input, nullptr);
    if (SUCCEEDED(hr)) return hr;
    // Only a refused stream is a matter for a transform.
    if (hr == VFW_E_NOT_STOPPED || hr == VFW_E_ALREADY_CONNECTED || hr == VFW_E_INVALID_DIRECTION)
        return hr;
    for (const ComPtr<IBaseFilter>& transform : candidates_) {
        if (Has(used, transform) || !HasOutputs(*transform.Get())) continue;
        for (const ComPtr<IPin>& in : FreePins(*transform.Get(), PINDIR_INPUT)) {
            if (FAILED(output.Connect(in.Get(), nullptr))) continue;
            used.push_back(transform);
            for (const ComPtr<IPin>& out : FreePins(*transform.Get(), PINDIR_OUTPUT)) {
                hr = ConnectThrough(*out.Get(), input, used);
                if (SUCCEEDED(hr)) return hr;
            }
            used.pop_back();
            Undo(output);
        }
    }
    return VFW_E_CANNOT_CONNECT;
}

HRESULT GraphConnector::Render(IPin& output) {
    Filters used{FilterOf(output)};
    return RenderThrough(output, used);
}

HRESULT GraphConnector::RenderThrough(IPin& output, Filters& used) {
    for (const ComPtr<IBaseFilter>& filter : candidates_) {
        if (Has(used, filter)) continue;
        for (const ComPtr<IPin>& in : FreePins(*filter.Get(), PINDIR_INPUT)) {
            if (FAILED(output.Connect(in.Get(), nullptr))) continue;
            if (!HasOutputs(*filter.Get())) return S_OK;
            used.push_back(filter);
            const HRESULT hr = RenderOutputs(*filter.Get(), used);
            used.pop_back();
            if (SUCCEEDED(hr)) return hr;
            Undo(output);
        }
    }
    return VFW_E_CANNOT_RENDER;
}

HRESULT GraphConnector::RenderOutputs(IBaseFilter& transform, Filters& used) {
    bool some = false;
    bool all = true;
    for (const ComPtr<IPin>& out : FreePins(transform, PINDIR_OUTPUT)) {
        const HRESULT hr = RenderThrough(*out.Get(), used);
        some = some || SUCCEEDED(hr);
        all = all && hr == S_OK;
    }
    if (some) return all ? S_OK : VFW_S_PARTIAL_RENDER;
    // A transform whose only output is in use already, as one with several inputs, leads on.
    for (const ComPtr<IPin>& pin : PinsOf(transform)) {
        if (IsOutput(*pin.Get()) && PeerOf(*pin.Get())) return S_OK;
    }
    return VFW_E_CANNOT_RENDER;
}

}  // namespace Vimbrel

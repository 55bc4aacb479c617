#include "filters/GraphWalk.h"

#include "filters/Enumerators.h"

namespace Vimbrel {

ComPtr<IPin> PeerOf(IPin& pin) {
    ComPtr<IPin> peer;
    if (FAILED(pin.ConnectedTo(peer.Put()))) peer.Reset();
    return peer;
}

bool IsOutput(IPin& pin) {
    PIN_DIRECTION direction = PINDIR_INPUT;
    return SUCCEEDED(pin.QueryDirection(&direction)) && direction == PINDIR_OUTPUT;
}

ComPtr<IBaseFilter> FilterOf(IPin& pin) {
    PIN_INFO info{};
    ComPtr<IBaseFilter> filter;
    if (SUCCEEDED(pin.QueryPinInfo(&info))) filter.Attach(info.pFilter);
    return filter;
}

ComPtr<IPin> FindPin(IBaseFilter& filter, PIN_DIRECTION direction) {
    for (const ComPtr<IPin>& pin : PinsOf(filter)) {
        PIN_DIRECTION its = PINDIR_INPUT;
        if (SUCCEEDED(pin->QueryDirection(&its)) && its == direction) return pin;
    }
    return {};
}

ComPtr<IPin> FindCapturePin(IBaseFilter& filter) {
    for (const ComPtr<IPin>& pin : PinsOf(filter)) {
        const auto properties = pin.As<IKsPropertySet>();
        if (!properties) continue;
        GUID category{};
        DWORD returned = 0;
        const HRESULT hr = properties->Get(AMPROPSETID_Pin, AMPROPERTY_PIN_CATEGORY, nullptr, 0,
                                           &category, sizeof category, &returned);
        if (SUCCEEDED(hr) && (category == PIN_CATEGORY_CAPTURE || category == PIN_CATEGORY_PREVIEW))
            return pin;
    }
    return {};
}

bool HasConnectedPin(IBaseFilter& filter) {
    for (const ComPtr<IPin>& pin : PinsOf(filter)) {
        if (PeerOf(*pin.Get())) return true;
    }
    return false;
}

void RemoveDownstream(IGraphBuilder& graph, IBaseFilter& filter) {
    for (const ComPtr<IPin>& pin : PinsOf(filter)) {
        const ComPtr<IPin> peer = PeerOf(*pin.Get());
        if (!peer || IsOutput(*peer.Get())) continue;
        const ComPtr<IBaseFilter> next = FilterOf(*peer.Get());
        if (!next) continue;
        RemoveDownstream(graph, *next.Get());
        graph.Disconnect(peer.Get());
        graph.Disconnect(pin.Get());
        graph.RemoveFilter(next.Get());
    }
}

}  // namespace Vimbrel

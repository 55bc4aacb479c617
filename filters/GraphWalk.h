// Finding pins of filters, and taking filters out of a graph.
#pragma once

#include "com/ComPtr.h"
#include "filters/FilterNames.h"

namespace Vimbrel {

// The first pin of that direction, in the filter's order; null if there is none.
ComPtr<IPin> FindPin(IBaseFilter& filter, PIN_DIRECTION direction);
// The first pin of the category for capturing or for a preview, whichever comes first in the
// filter's order; null if there is none.
ComPtr<IPin> FindCapturePin(IBaseFilter& filter);
// The pin that it is connected to; null if there is none.
ComPtr<IPin> PeerOf(IPin& pin);
// The pin's filter; null if it does not tell.
ComPtr<IBaseFilter> FilterOf(IPin& pin);
bool IsOutput(IPin& pin);
bool HasConnectedPin(IBaseFilter& filter);
// Removes every filter downstream of `filter` from the graph, the last of them first.
void RemoveDownstream(IGraphBuilder& graph, IBaseFilter& filter);

// For interfaces that have an identifier but no place in the compiler's table of them.
template <class Interface>
ComPtr<Interface> QueryOutside(IUnknown& object, REFIID iid) {
    ComPtr<Interface> face;
    void* found = nullptr;
    if (SUCCEEDED(object.QueryInterface(iid, &found))) face.Attach(static_cast<Interface*>(found));
    return face;
}

}  // namespace Vimbrel

// Connecting pins through the filters of a graph.
#pragma once

#include <vector>

#include "com/ComPtr.h"
#include "filters/FilterNames.h"

namespace Vimbrel {

// Uses only the filters it is given. What an attempt connected before it failed is disconnected
// again.
class GraphConnector {
public:
    explicit GraphConnector(std::vector<ComPtr<IBaseFilter>> filters);

    // Directly, else through transforms. VFW_E_CANNOT_CONNECT.
    HRESULT Connect(IPin& output, IPin& input);
    // To a renderer, through transforms if one takes the stream. VFW_S_PARTIAL_RENDER if a
    // transform has outputs that lead nowhere; VFW_E_CANNOT_RENDER.
    HRESULT Render(IPin& output);

private:
    using Filters = std::vector<ComPtr<IBaseFilter>>;

    HRESULT ConnectThrough(IPin& output, IPin& input, Filters& used);
    HRESULT RenderThrough(IPin& output, Filters& used);
    HRESULT RenderOutputs(IBaseFilter& transform, Filters& used);
    // Breaks every connection downstream of the output, and its own.
    static void Undo(IPin& output);

    // Transforms come before renderers.
    Filters candidates_;
};

}  // namespace Vimbrel

// One layer of the picture.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "scene/Drawing.h"
#include "scene/Scene.h"

struct IWICImagingFactory;

namespace studio {

class Layer {
public:
    virtual ~Layer() = default;

    // Brings the layer to that time since the start of the scene and draws it over the canvas.
    virtual void Draw(std::int64_t time_ms, Raster& canvas) = 0;

protected:
    Layer() = default;
    Layer(const Layer&) = delete;
    Layer& operator=(const Layer&) = delete;
};

// Opens what the layer shows. Null with `error` set to "place: what is wrong". The factory outlives
// the layer. `fps` is how often the layer will be drawn in a second.
std::unique_ptr<Layer> OpenLayer(const LayerDescription& description, int fps,
                                 IWICImagingFactory* factory, std::string& error);

}  // namespace studio

// A text, drawn once.
#pragma once

#include "layers/Layer.h"
#include "vimbrel/MediaSourceText.h"

namespace studio {

class TextLayer final : public Layer {
public:
    TextLayer(const LayerDescription& description, const TextDescription& content);

    void Draw(std::int64_t time_ms, Raster& canvas) override;

private:
    Rect rect;
    double opacity;
    Vimbrel::MediaSourceText source;
    Raster raster;
};

}  // namespace studio

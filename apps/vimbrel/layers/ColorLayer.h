// A rectangle of one colour.
#pragma once

#include "layers/Layer.h"

namespace studio {

class ColorLayer final : public Layer {
public:
    ColorLayer(const LayerDescription& description, const ColorDescription& content)
        : rect(description.rect), color(content.color), opacity(description.opacity) {}

    void Draw(std::int64_t, Raster& canvas) override { FillOver(rect, color, opacity, canvas); }

private:
    Rect rect;
    Color color;
    double opacity;
};

}  // namespace studio

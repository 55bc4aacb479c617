// All drawing of the studio, so that only one file sees the graphics library.
#pragma once

#include <string>

#include "scene/Raster.h"
#include "scene/Scene.h"

namespace studio {

// Pixels owned elsewhere, laid out as in Raster.
struct PixelView {
    const std::uint8_t* pixels = nullptr;
    int width = 0;
    int height = 0;
    int stride = 0;  // bytes
};

// Fills the raster.
void Clear(Raster& target, Color color);

// Draws `source`, which is to look as if it were shown_width x shown_height, into the whole of
// `target`: inside it (contain), over all of it with the excess cut off evenly (cover), or out of
// shape (stretch). What is not covered becomes transparent.
void ScaleInto(const PixelView& source, int shown_width, int shown_height, Fit fit, Raster& target);

// Draws wrapped text from the top left corner into a cleared `target`. `font` is a description such
// as "Sans Bold 24".
void DrawText(const std::string& text, const std::string& font, Color color, Raster& target);

// Draws `layer` over `canvas` with its top left corner at (x, y), cut at the canvas.
void DrawOver(const Raster& layer, int x, int y, double opacity, Raster& canvas);

// Fills a rectangle of the canvas, over what is there.
void FillOver(const Rect& rect, Color color, double opacity, Raster& canvas);

}  // namespace studio

#include "scene/Drawing.h"

#include <cairo.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <memory>

namespace studio {

namespace {

template <auto Free>
struct Deleter {
    template <class T>
    void operator()(T* object) const {
        Free(object);
    }
};
using Surface = std::unique_ptr<cairo_surface_t, Deleter<cairo_surface_destroy>>;
using Context = std::unique_ptr<cairo_t, Deleter<cairo_destroy>>;
using Layout = std::unique_ptr<PangoLayout, Deleter<g_object_unref>>;
using Font = std::unique_ptr<PangoFontDescription, Deleter<pango_font_description_free>>;

// Blue, green, red, alpha in memory is this format on a little-endian processor.
Surface Wrap(const PixelView& view) {
    return Surface(cairo_image_surface_create_for_data(const_cast<std::uint8_t*>(view.pixels),
                                                       CAIRO_FORMAT_ARGB32, view.width, view.height,
                                                       view.stride));
}

Surface Wrap(const Raster& raster) {
    return Wrap(PixelView{raster.pixels.data(), raster.width, raster.height, raster.Stride()});
}

void SetColor(cairo_t* context, Color color, double opacity = 1.0) {
    cairo_set_source_rgba(context, color.red / 255.0, color.green / 255.0, color.blue / 255.0,
                          color.alpha / 255.0 * opacity);
}

}  // namespace

void Clear(Raster& target, Color color) {
    const Surface surface = Wrap(target);
    const Context context(cairo_create(surface.get()));
    cairo_set_operator(context.get(), CAIRO_OPERATOR_SOURCE);
    SetColor(context.get(), color);
    cairo_paint(context.get());
}

void ScaleInto(const PixelView& source, int shown_width, int shown_height, Fit fit,
               Raster& target) {
    double width = target.width;
    double height = target.height;
    if (fit != Fit::Stretch) {
        const double horizontal = width / shown_width;
        const double vertical = height / shown_height;
        const double scale =
            fit == Fit::Contain ? std::min(horizontal, vertical) : std::max(horizontal, vertical);
        width = shown_width * scale;
        height = shown_height * scale;
    }
    const Surface target_surface = Wrap(target);
    const Surface source_surface = Wrap(source);
    const Context context(cairo_create(target_surface.get()));
    cairo_set_operator(context.get(), CAIRO_OPERATOR_CLEAR);
    cairo_paint(context.get());
    cairo_set_operator(context.get(), CAIRO_OPERATOR_OVER);
    cairo_translate(context.get(), (target.width - width) / 2, (target.height - height) / 2);
    // Beyond the picture its edge goes on, so that the filter does not fade it out; the clip keeps
    // it in its rectangle.
    cairo_rectangle(context.get(), 0, 0, width, height);
    cairo_clip(context.get());
    cairo_scale(context.get(), width / source.width, height / source.height);
    cairo_set_source_surface(context.get(), source_surface.get(), 0, 0);
    cairo_pattern_set_extend(cairo_get_source(context.get()), CAIRO_EXTEND_PAD);
    cairo_pattern_set_filter(cairo_get_source(context.get()), CAIRO_FILTER_GOOD);
    cairo_paint(context.get());
}

void DrawText(const std::string& text, const std::string& font, Color color, Raster& target) {
    const Surface surface = Wrap(target);
    const Context context(cairo_create(surface.get()));
    const Layout layout(pango_cairo_create_layout(context.get()));
    const Font description(pango_font_description_from_string(font.c_str()));
    pango_layout_set_font_description(layout.get(), description.get());
    pango_layout_set_width(layout.get(), target.width * PANGO_SCALE);
    pango_layout_set_wrap(layout.get(), PANGO_WRAP_WORD_CHAR);
    pango_layout_set_text(layout.get(), text.data(), static_cast<int>(text.size()));
    SetColor(context.get(), color);
    pango_cairo_show_layout(context.get(), layout.get());
}

void DrawOver(const Raster& layer, int x, int y, double opacity, Raster& canvas) {
    const Surface canvas_surface = Wrap(canvas);
    const Surface layer_surface = Wrap(layer);
    const Context context(cairo_create(canvas_surface.get()));
    cairo_set_source_surface(context.get(), layer_surface.get(), x, y);
    cairo_paint_with_alpha(context.get(), opacity);
}

void FillOver(const Rect& rect, Color color, double opacity, Raster& canvas) {
    const Surface surface = Wrap(canvas);
    const Context context(cairo_create(surface.get()));
    SetColor(context.get(), color, opacity);
    cairo_rectangle(context.get(), rect.x, rect.y, rect.width, rect.height);
    cairo_fill(context.get());
}

}  // namespace studio

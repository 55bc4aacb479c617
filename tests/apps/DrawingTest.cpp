// Where a layer's picture lies in its rectangle, and that it stays inside.
#include "scene/Drawing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace studio {
namespace {

constexpr std::uint8_t canvas_level = 10;

// A picture of 4 columns, the outer ones red and the inner ones green, so that it shows where it is
// cut off.
Raster Picture() {
    Raster picture(4, 2);
    for (int i = 0; i < 8; ++i) {
        std::uint8_t* pixel = picture.At(i % 4, i / 4);
        pixel[i % 4 == 0 || i % 4 == 3 ? 2 : 1] = 255;
        pixel[3] = 255;
    }
    return picture;
}

// One letter per pixel: "r", "g", "." for the canvas, "?" for anything else.
std::string Row(const Raster& canvas, int y) {
    std::string row;
    for (int x = 0; x < canvas.width; ++x) {
        const std::uint8_t* pixel = canvas.At(x, y);
        if (pixel[2] > 200 && pixel[1] < 60) {
            row += 'r';
        } else if (pixel[1] > 200 && pixel[2] < 60) {
            row += 'g';
        } else {
            row +=
                std::all_of(pixel, pixel + 3, [](auto c) { return c == canvas_level; }) ? '.' : '?';
        }
    }
    return row;
}

TEST(Drawing, ALayerStaysInsideItsRectangle) {
    const struct {
        const char* what;
        Fit fit;
        Rect rect;
        int first, last;     // rows of the canvas that the picture covers
        const char* middle;  // of them
    } cases[] = {
        // Twice as high as it would be in shape: the outer columns are cut off.
        {"cover cuts columns", Fit::Cover, {3, 2, 8, 8}, 2, 9, "...gggggggg....."},
        {"cover cuts rows", Fit::Cover, {2, 4, 8, 2}, 4, 5, "..rrggggrr......"},
        {"contain leaves rows", Fit::Contain, {3, 2, 8, 8}, 4, 7, "...rrggggrr....."},
        {"contain leaves columns", Fit::Contain, {1, 1, 12, 4}, 1, 4, "...rrggggrr....."},
        {"stretch", Fit::Stretch, {3, 2, 8, 8}, 2, 9, "...rrggggrr....."},
        {"cover at the canvas's corner", Fit::Cover, {-4, -4, 8, 8}, 0, 3, "gggg............"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        const Raster picture = Picture();
        Raster layer(each.rect.width, each.rect.height);
        std::fill(layer.pixels.begin(), layer.pixels.end(), std::uint8_t{77});  // of a frame before
        // Enlarged without a filter's blur by a whole factor first.
        Raster large(picture.width * 16, picture.height * 16);
        for (int y = 0; y < large.height; ++y) {
            for (int x = 0; x < large.width; ++x)
                std::copy_n(picture.At(x / 16, y / 16), 4, large.At(x, y));
        }
        ScaleInto({large.pixels.data(), large.width, large.height, large.Stride()}, 4, 2, each.fit,
                  layer);
        Raster canvas(16, 12);
        std::fill(canvas.pixels.begin(), canvas.pixels.end(), canvas_level);
        DrawOver(layer, each.rect.x, each.rect.y, 1.0, canvas);
        for (int y = 0; y < canvas.height; ++y) {
            EXPECT_EQ(Row(canvas, y),
                      y >= each.first && y <= each.last ? each.middle : "................")
                << "row " << y;
        }
    }
}

}  // namespace
}  // namespace studio

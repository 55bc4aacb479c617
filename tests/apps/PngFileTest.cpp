// PNG files that the studio writes, as another reader sees them.
#include "PngFile.h"

#include <cairo/cairo.h>
#include <gtest/gtest.h>

#include <random>

#include "tests/support/TempFolder.h"

namespace studio {
namespace {

TEST(PngFile, HoldsThePicture) {
    const Vimbrel::test::TempFolder folder;
    const std::string file = (folder / "out.png").string();
    std::mt19937 random(5);
    for (const auto& [width, height] : {std::pair{1, 1}, {7, 5}, {641, 361}, {3, 2000}}) {
        Raster picture(width, height);
        // Noise, areas of one colour, and slopes in both directions.
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const unsigned part = static_cast<unsigned>(y) * 4 / static_cast<unsigned>(height);
                for (int i = 0; i < 4; ++i)
                    picture.At(x, y)[i] = static_cast<std::uint8_t>(part == 0   ? random()
                                                                    : part == 1 ? 90u
                                                                    : part == 2 ? x * i
                                                                                : y * i);
            }
        }
        ASSERT_TRUE(WritePng(picture, file));
        cairo_surface_t* const read = cairo_image_surface_create_from_png(file.c_str());
        ASSERT_EQ(cairo_image_surface_get_width(read), width);
        ASSERT_EQ(cairo_image_surface_get_height(read), height);
        int wrong = 0;
        for (int y = 0; y < height; ++y) {
            const unsigned char* const row =
                cairo_image_surface_get_data(read) + y * cairo_image_surface_get_stride(read);
            for (int x = 0; x < width; ++x)
                wrong += std::equal(row + x * 4, row + x * 4 + 3, picture.At(x, y)) ? 0 : 1;
        }
        EXPECT_EQ(wrong, 0) << width << " x " << height;
        cairo_surface_destroy(read);
    }
    EXPECT_FALSE(WritePng(Raster(2, 2), folder / "nowhere" / "out.png"));
}

}  // namespace
}  // namespace studio

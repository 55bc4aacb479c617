// The conversion into 4:2:0: every variant against the reference, and the reference against the
// standards' formulas.
#include "pixel/BgraToYuv.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/pixel/PixelTestKit.h"

namespace Vimbrel::test {
namespace {

using pixel::RunnableKernels;

// Planes that end at, or begin after, a guarded page.
struct Picture {
    Picture(std::int32_t columns, std::int32_t rows, bool interleaved, bool at_end)
        : luma({columns, rows}, 0, at_end, false),
          cb({interleaved ? columns : columns / 2, rows / 2}, 0, at_end, false),
          cr({columns / 2, rows / 2}, 0, at_end, false),
          both(interleaved) {}
    YuvPlanes Planes() const {
        return {{luma.FirstRow(), cb.FirstRow(), both ? nullptr : cr.FirstRow()},
                {luma.Step(), cb.Step(), cr.Step()}};
    }
    std::vector<std::vector<std::uint8_t>> Bytes() const {
        return {luma.Snapshot(), cb.Snapshot(), both ? std::vector<std::uint8_t>{} : cr.Snapshot()};
    }
    Plane luma, cb, cr;
    bool both;
};

void Convert(const Plane& pixels, unsigned width, unsigned height, YuvMatrix matrix,
             const Picture& picture, const pixel::Kernels& kernels) {
    const WithKernels with(kernels);
    ConvertBgraToYuv(pixels.FirstRow(), width, height, matrix, picture.Planes());
}

TEST(BgraToYuv, AllVariantsGiveTheReferencesBytesUpToTheEndsOfTheMemory) {
    constexpr std::int32_t height = 4;
    for (std::int32_t width = 2; width <= 202; width += 2) {
        const bool at_end = width % 4 == 0;
        const Plane pixels({4 * width, height}, 0, at_end, false);
        pixels.Fill(static_cast<std::uint32_t>(width));
        const YuvMatrix matrix = width % 3 == 0 ? YuvMatrix::bt601 : YuvMatrix::bt709;
        const auto convert = [&](const pixel::Kernels& kernels, bool interleaved) {
            const Picture picture(width, height, interleaved, at_end);
            Convert(pixels, static_cast<unsigned>(width), height, matrix, picture, kernels);
            return picture.Bytes();
        };
        const auto planar = convert(*RunnableKernels().back(), false);
        const auto interleaved = convert(*RunnableKernels().back(), true);
        for (const pixel::Kernels* kernels : RunnableKernels()) {
            ASSERT_EQ(convert(*kernels, false), planar) << kernels->name << " " << width;
            ASSERT_EQ(convert(*kernels, true), interleaved) << kernels->name << " " << width;
        }
    }
}

TEST(BgraToYuv, FollowsTheStandardsFormulas) {
    constexpr std::int32_t width = 64;
    constexpr std::int32_t height = 64;
    const Plane pixels({4 * width, height}, 0, true, false);
    pixels.Fill(1);
    const struct {
        YuvMatrix matrix;
        double red, blue;
    } cases[] = {{YuvMatrix::bt601, 0.299, 0.114}, {YuvMatrix::bt709, 0.2126, 0.0722}};
    for (const auto& each : cases) {
        const Picture picture(width, height, false, true);
        const Picture nv12(width, height, true, true);
        Convert(pixels, width, height, each.matrix, picture, *RunnableKernels().back());
        Convert(pixels, width, height, each.matrix, nv12, *RunnableKernels().back());
        const auto luma = [&](double b, double g, double r) {
            return each.red * r + (1 - each.red - each.blue) * g + each.blue * b;
        };
        for (std::int32_t y = 0; y < height; ++y) {
            for (std::int32_t x = 0; x < width; ++x) {
                const std::uint8_t* pixel = pixels.Row(y) + 4 * x;
                ASSERT_NEAR(picture.luma.Row(y)[x],
                            16 + luma(pixel[0], pixel[1], pixel[2]) * 219 / 255, 0.51);
                if (x % 2 != 0 || y % 2 != 0) continue;
                double mean[3] = {};
                for (const int at : {0, 4, 4 * width, 4 * width + 4}) {
                    for (int c = 0; c < 3; ++c) mean[c] += pixel[at + c] / 4.0;
                }
                const double gray = luma(mean[0], mean[1], mean[2]);
                const int cb = picture.cb.Row(y / 2)[x / 2];
                const int cr = picture.cr.Row(y / 2)[x / 2];
                ASSERT_NEAR(cb, 128 + (mean[0] - gray) / (1 - each.blue) * 112 / 255, 0.53);
                ASSERT_NEAR(cr, 128 + (mean[2] - gray) / (1 - each.red) * 112 / 255, 0.53);
                ASSERT_EQ(nv12.cb.Row(y / 2)[x], cb);
                ASSERT_EQ(nv12.cb.Row(y / 2)[x + 1], cr);
            }
        }
    }
}

TEST(BgraToYuv, GreyHasNoColour) {
    for (int level = 0; level < 256; ++level) {
        const Plane pixels({4 * 64, 2}, 0, true, false);
        std::memset(pixels.FirstRow(), level, 4 * 64 * 2);
        const Picture picture(64, 2, true, true);
        Convert(pixels, 64, 2, YuvMatrix::bt709, picture, *RunnableKernels().front());
        for (int i = 0; i < 64; ++i) ASSERT_EQ(picture.cb.FirstRow()[i], 128) << level;
    }
}

}  // namespace
}  // namespace Vimbrel::test

#include "pixel/BgraToYuv.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace Vimbrel::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct Picture {
    Picture(unsigned columns, unsigned rows)
        : luma(columns * rows, 0xEE), cb(columns * rows / 4, 0xEE), cr(cb), width(columns) {}
    YuvPlanes Planes() {
        const auto stride = static_cast<std::ptrdiff_t>(width);
        return {{luma.data(), cb.data(), cr.data()}, {stride, stride / 2, stride / 2}};
    }
    Bytes luma, cb, cr;
    unsigned width;
};

Bytes RandomPixels(unsigned width, unsigned height) {
    std::mt19937 random(width * 1000 + height);
    Bytes pixels(std::size_t{width} * height * 4);
    for (std::uint8_t& byte : pixels) {
        // Extremes are as frequent as all else together.
        const auto value = random();
        byte = static_cast<std::uint8_t>(value & 0x100 ? (value & 0x200 ? 255 : 0) : value);
    }
    return pixels;
}

TEST(BgraToYuv, AllWaysGiveTheSameBytes) {
    for (const YuvMatrix matrix : {YuvMatrix::bt601, YuvMatrix::bt709}) {
        for (unsigned width = 2; width <= 132; width += 2) {
            constexpr unsigned height = 4;
            const Bytes pixels = RandomPixels(width, height);
            Picture fast(width, height);
            Picture plain(width, height);
            ConvertBgraToYuv(pixels.data(), width, height, matrix, fast.Planes());
            ConvertBgraToYuvPlainly(pixels.data(), width, height, matrix, plain.Planes());
            ASSERT_EQ(fast.luma, plain.luma) << width;
            ASSERT_EQ(fast.cb, plain.cb) << width;
            ASSERT_EQ(fast.cr, plain.cr) << width;
        }
    }
}

TEST(BgraToYuv, FollowsTheStandardsFormulas) {
    constexpr unsigned width = 64;
    constexpr unsigned height = 64;
    const Bytes pixels = RandomPixels(width, height);
    const struct {
        YuvMatrix matrix;
        double red, blue;
    } cases[] = {{YuvMatrix::bt601, 0.299, 0.114}, {YuvMatrix::bt709, 0.2126, 0.0722}};
    for (const auto& each : cases) {
        Picture picture(width, height);
        ConvertBgraToYuv(pixels.data(), width, height, each.matrix, picture.Planes());
        const auto luma = [&](double b, double g, double r) {
            return each.red * r + (1 - each.red - each.blue) * g + each.blue * b;
        };
        for (unsigned y = 0; y < height; ++y) {
            for (unsigned x = 0; x < width; ++x) {
                const std::uint8_t* pixel = &pixels[(y * width + x) * 4];
                ASSERT_NEAR(picture.luma[y * width + x],
                            16 + luma(pixel[0], pixel[1], pixel[2]) * 219 / 255, 0.51);
                if (x % 2 != 0 || y % 2 != 0) continue;
                double mean[3] = {};
                for (const unsigned at : {0u, 4u, width * 4, width * 4 + 4}) {
                    for (int c = 0; c < 3; ++c)
                        mean[c] += pixel[at + static_cast<unsigned>(c)] / 4.0;
                }
                const double gray = luma(mean[0], mean[1], mean[2]);
                const unsigned i = y / 2 * (width / 2) + x / 2;
                ASSERT_NEAR(picture.cb[i], 128 + (mean[0] - gray) / (1 - each.blue) * 112 / 255,
                            0.53);
                ASSERT_NEAR(picture.cr[i], 128 + (mean[2] - gray) / (1 - each.red) * 112 / 255,
                            0.53);
            }
        }
    }
}

TEST(BgraToYuv, GreyHasNoColour) {
    for (unsigned level = 0; level < 256; ++level) {
        const Bytes pixels(std::size_t{64} * 2 * 4, static_cast<std::uint8_t>(level));
        Picture picture(64, 2);
        ConvertBgraToYuv(pixels.data(), 64, 2, YuvMatrix::bt709, picture.Planes());
        ASSERT_EQ(picture.cb, Bytes(32, 128)) << level;
        ASSERT_EQ(picture.cr, Bytes(32, 128)) << level;
    }
}

}  // namespace
}  // namespace Vimbrel::test

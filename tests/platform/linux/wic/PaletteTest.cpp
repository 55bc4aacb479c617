// Palettes, nearest colours and error diffusion.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

#include "platform/linux/wic/palette/IndexedRenderer.h"
#include "platform/linux/wic/palette/NearestColor.h"
#include "tests/platform/linux/wic/GifTestKit.h"

namespace Vimbrel::test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

ComPtr<IWICPalette> MakePalette() {
    ComPtr<IWICPalette> palette;
    EXPECT_EQ(Factory()->CreatePalette(palette.Put()), S_OK);
    return palette;
}

ComPtr<IWICPalette> CustomPalette(std::vector<WICColor> colors) {
    const auto palette = MakePalette();
    EXPECT_EQ(palette->InitializeCustom(colors.data(), static_cast<UINT>(colors.size())), S_OK);
    return palette;
}

Bytes Mapped(IWICBitmapSource* source, IWICPalette* palette, bool diffuse, double threshold) {
    BitmapSource* own = AsBitmapSource(source);
    Bytes indices(std::size_t{own->Width()} * own->Height());
    EXPECT_EQ(RenderIndexed(*own, own->Width(), own->Height(), palette, diffuse, threshold,
                            indices.data(), own->Width()),
              S_OK);
    return indices;
}

TEST(Palette, TakesFromOneTo256Colors) {
    const auto palette = MakePalette();
    UINT count = 0;
    WICColor colors[257] = {};
    EXPECT_EQ(palette->GetColors(256, colors, &count), WINCODEC_ERR_NOTINITIALIZED);
    for (const UINT size : {0u, 257u})
        EXPECT_EQ(palette->InitializeCustom(colors, size), E_INVALIDARG);
    EXPECT_EQ(palette->InitializeCustom(colors, 3), S_OK);
    EXPECT_EQ(palette->GetColors(2, colors, &count), S_OK);
    EXPECT_EQ(count, 2u);
}

TEST(Palette, AFewColorsAreKeptExactly) {
    std::set<WICColor> wanted;
    const auto bitmap = MakeBitmap(16, 16, [&](UINT x, UINT y) {
        const WICColor color =
            0xFF808080 + x * 0x010000 + y;  // neighbours, which any coarse histogram would merge
        wanted.insert(color);
        return color;
    });
    const auto palette = MakePalette();
    ASSERT_EQ(palette->InitializeFromBitmap(bitmap.Get(), 256, FALSE), S_OK);
    const std::vector<WICColor> colors = ColorsOf(palette.Get());
    EXPECT_EQ(std::set<WICColor>(colors.begin(), colors.end()), wanted);
    for (const bool diffuse : {false, true}) {
        const Bytes indices = Mapped(bitmap.Get(), palette.Get(), diffuse, 0.0);
        for (UINT i = 0; i < 256; ++i)
            EXPECT_EQ(colors[indices[i]], 0xFF808080 + i % 16 * 0x010000 + i / 16);
    }
}

TEST(Palette, TheTransparentColorIsTheLastOfAllThatWereAskedFor) {
    const auto few = MakeBitmap(4, 1, [](UINT x, UINT) {
        return x == 0 ? 0u : x == 1 ? 0x80400000u : 0xFF00FF00u;
    });
    const auto palette = MakePalette();
    BOOL alpha = FALSE;
    ASSERT_EQ(palette->InitializeFromBitmap(few.Get(), 256, TRUE), S_OK);
    EXPECT_EQ(palette->HasAlpha(&alpha), S_OK);
    EXPECT_EQ(alpha, TRUE);
    std::vector<WICColor> colors = ColorsOf(palette.Get());
    ASSERT_EQ(colors.size(), 256u);
    EXPECT_EQ(colors[255], 0u);
    colors.pop_back();
    EXPECT_THAT(colors, ::testing::Contains(0xFF800000u)) << "without its alpha";
    EXPECT_TRUE(std::all_of(colors.begin(), colors.end(),
                            [](WICColor color) { return color >> 24 == 0xFF; }));

    ASSERT_EQ(palette->InitializeFromBitmap(few.Get(), 256, FALSE), S_OK);
    EXPECT_THAT(ColorsOf(palette.Get()), UnorderedElementsAre(0xFF000000, 0xFF400000, 0xFF00FF00));
    ASSERT_EQ(palette->InitializeFromBitmap(few.Get(), 1, TRUE), S_OK);
    EXPECT_THAT(ColorsOf(palette.Get()), ElementsAre(0u));
    EXPECT_EQ(palette->InitializeFromBitmap(few.Get(), 257, FALSE), E_INVALIDARG);
}

TEST(NearestColor, AgreesWithATrialOfAll) {
    std::mt19937 random(7);
    for (const std::size_t count : {1u, 2u, 7u, 9u, 255u, 256u}) {
        std::vector<WICColor> colors(count);
        for (WICColor& color : colors) color = 0xFF000000 | (random() & 0xFFFFFF);
        if (count > 2) colors[1] = 0;  // transparent: never an answer
        if (count > 7) colors[6] = colors[3];
        NearestColor nearest(colors);
        for (int i = 0; i < 5000; ++i) {
            const std::uint32_t asked = random() & (i % 2 ? 0xFFFFFF : 0x3F3F3F);
            const auto distance = [&](WICColor color) {
                int sum = 0;
                for (int shift = 0; shift < 24; shift += 8) {
                    const int d = static_cast<int>(color >> shift & 0xFF) -
                                  static_cast<int>(asked >> shift & 0xFF);
                    sum += d * d;
                }
                return color >> 24 == 0xFF ? sum : 1 << 30;
            };
            const auto best =
                std::min_element(colors.begin(), colors.end(),
                                 [&](WICColor a, WICColor b) { return distance(a) < distance(b); });
            ASSERT_EQ(nearest.Exact(asked & 0xFF, asked >> 8 & 0xFF, asked >> 16),
                      best - colors.begin())
                << count;
        }
    }
}

TEST(IndexedRenderer, ErrorDiffusionKeepsTheMeanAndNoneTakesTheNearest) {
    const auto palette = CustomPalette({0xFF000000, 0xFFFFFFFF});
    for (const std::uint32_t level : {0x20u, 0x60u, 0x80u, 0xC0u}) {
        const auto gray =
            MakeBitmap(101, 67, [&](UINT, UINT) { return 0xFF000000 | level * 0x010101; });
        EXPECT_THAT(Mapped(gray.Get(), palette.Get(), false, 0.0), Each(level >= 0x80 ? 1 : 0));
        const Bytes diffused = Mapped(gray.Get(), palette.Get(), true, 0.0);
        const auto white = static_cast<double>(std::count(diffused.begin(), diffused.end(), 1));
        EXPECT_NEAR(white / static_cast<double>(diffused.size()), level / 255.0, 0.03) << level;
    }
}

TEST(IndexedRenderer, AlphaAgainstTheThreshold) {
    // Premultiplied reds of falling opacity, among a transparent entry, dark red and red.
    const std::vector<std::uint32_t> pixels = {0xFFFF0000, 0xE6E60000, 0xE5E50000,
                                               0x80800000, 0x01010000, 0};
    const auto bitmap =
        MakeBitmap(static_cast<UINT>(pixels.size()), 1, [&](UINT x, UINT) { return pixels[x]; });
    const auto with_transparent = CustomPalette({0xFF000000, 0, 0xFF800000, 0xFFFF0000});
    const auto opaque = CustomPalette({0xFF000000, 0xFF010101, 0xFF800000, 0xFFFF0000});
    for (const bool diffuse : {false, true}) {
        // 90 % of 255 is 229.5, so that 0xE6 is the first that counts.
        EXPECT_THAT(Mapped(bitmap.Get(), with_transparent.Get(), diffuse, 90.0),
                    ElementsAre(3, 3, 1, 1, 1, 1));
        EXPECT_THAT(Mapped(bitmap.Get(), with_transparent.Get(), diffuse, 0.0),
                    ElementsAre(3, 3, 3, 3, 3, 1));
        EXPECT_THAT(Mapped(bitmap.Get(), with_transparent.Get(), diffuse, 101.0), Each(1));
    }
    EXPECT_THAT(Mapped(bitmap.Get(), opaque.Get(), false, 90.0), ElementsAre(3, 3, 3, 2, 0, 0))
        << "as on black";
}

}  // namespace
}  // namespace Vimbrel::test

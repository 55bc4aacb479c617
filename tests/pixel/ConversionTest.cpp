// What the conversions give: known colours, odd widths, result codes. By the reference, which the
// variants equal.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/pixel/PixelTestKit.h"

namespace Vimbrel::test {
namespace {

using testing::ElementsAre;
using Bytes = std::vector<std::uint8_t>;

// Results worked out by hand from the matrices.
struct KnownColor {
    std::uint8_t y, cb, cr;
    std::array<std::uint8_t, 3> studio_bgr;
    std::array<std::uint8_t, 3> flat_bgr;
};
constexpr KnownColor known_colors[] = {
    {16, 128, 128, {0, 0, 0}, {16, 16, 16}},
    {235, 128, 128, {255, 255, 255}, {235, 235, 235}},
    {0, 128, 128, {0, 0, 0}, {0, 0, 0}},
    {255, 255, 128, {255, 228, 255}, {255, 232, 255}},
    {126, 128, 128, {128, 128, 128}, {126, 126, 126}},
    {81, 90, 240, {0, 0, 254}, {12, 37, 253}},
    {145, 54, 34, {1, 255, 0}, {11, 202, 0}},
    {41, 240, 110, {255, 0, 0}, {244, 29, 13}},
    {255, 0, 0, {20, 255, 74}, {23, 255, 58}},
};

Bytes Convert(const Conversion& conversion, const std::vector<Bytes>& sources, PixelSize size,
              std::uint8_t alpha) {
    Planes planes{};
    Steps steps{};
    const std::vector<PlaneLayout> layouts = conversion.sources(size);
    for (std::size_t i = 0; i < sources.size(); ++i) {
        planes[i] = sources[i].data();
        steps[i] = layouts[i].row_bytes;
    }
    Bytes destination(
        4 * static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height), 0xEE);
    EXPECT_EQ(conversion.run(planes, steps, destination.data(), 4 * size.width, size, alpha),
              pixel_done);
    return destination;
}

TEST(Conversion, KnownColors) {
    for (const KnownColor& known : known_colors) {
        const auto y = known.y;
        const auto cb = known.cb;
        const auto cr = known.cr;
        SCOPED_TRACE(testing::Message() << int{y} << " " << int{cb} << " " << int{cr});
        const auto pixels = [](const std::array<std::uint8_t, 3>& bgr, std::size_t count) {
            Bytes bytes;
            for (std::size_t i = 0; i < count; ++i)
                bytes.insert(bytes.end(), {bgr[0], bgr[1], bgr[2], 200});
            return bytes;
        };
        const auto& all = AllConversions();
        const Bytes luma(4, y);
        // YUY2 exchanges the coefficients: its colours are the studio matrix's with the chroma
        // bytes and the ends exchanged.
        const auto& studio = known.studio_bgr;
        EXPECT_EQ(Convert(all[0], {{y, cr, y, cb}}, {2, 1}, 200),
                  pixels({studio[2], studio[1], studio[0]}, 2));
        EXPECT_EQ(Convert(all[1], {{cb, y, cr, y}}, {2, 1}, 200), pixels(known.flat_bgr, 2));
        EXPECT_EQ(Convert(all[2], {luma, {cb, cr}}, {2, 2}, 200), pixels(studio, 4));
        EXPECT_EQ(Convert(all[3], {luma, {cb}, {cr}}, {2, 2}, 200), pixels(known.flat_bgr, 4));
        EXPECT_EQ(Convert(all[4], {luma, {cb}, {cr}}, {2, 2}, 200), pixels(studio, 4));
    }
}

TEST(Conversion, ABlockSharesItsChromaAndEachPixelHasItsLuma) {
    // With the flat matrix, luma moves all three colours alike.
    const Bytes luma = {60, 90, 120, 150};
    const Bytes expected = {42, 71, 29, 9, 72, 101, 59, 9, 102, 131, 89, 9, 132, 161, 119, 9};
    EXPECT_EQ(Convert(AllConversions()[3], {luma, {118}, {108}}, {2, 2}, 9), expected);
}

TEST(Conversion, OddPackedWidths) {
    // The last pixel of an odd width in a picture of its own, with the chroma that it borrows.
    const auto last = [](const Bytes& pixels) { return Bytes(pixels.end() - 4, pixels.end()); };
    const Conversion& yuy2 = AllConversions()[0];
    const Conversion& uyvy = AllConversions()[1];
    EXPECT_EQ(last(Convert(yuy2, {{50, 60, 70, 80, 90, 100}}, {3, 1}, 1)),
              last(Convert(yuy2, {{90, 100, 90, 80}}, {2, 1}, 1)));
    EXPECT_EQ(Convert(yuy2, {{90, 100}}, {1, 1}, 1),
              last(Convert(yuy2, {{90, 100, 90, 100}}, {2, 1}, 1)));
    EXPECT_EQ(last(Convert(uyvy, {{60, 50, 80, 70, 100, 90}}, {3, 1}, 1)),
              last(Convert(uyvy, {{100, 90, 80, 90}}, {2, 1}, 1)));
    EXPECT_EQ(Convert(uyvy, {{100, 90}}, {1, 1}, 1),
              last(Convert(uyvy, {{100, 90, 100, 90}}, {2, 1}, 1)));
}

TEST(Conversion, CopiesSpareTheFourthByte) {
    const Bytes pixels = {1, 2, 3, 4, 5, 6, 7, 8};
    Bytes destination(8, 0xEE);
    EXPECT_EQ(CopyBgrxToBgra(pixels.data(), 8, destination.data(), 8, {2, 1}), pixel_done);
    EXPECT_THAT(destination, ElementsAre(1, 2, 3, 0xEE, 5, 6, 7, 0xEE));
    EXPECT_EQ(CopyBgrxAsOpaque(pixels.data(), 8, destination.data(), 8, {2, 1}), pixel_done);
    EXPECT_THAT(destination, ElementsAre(1, 2, 3, 255, 5, 6, 7, 255));
    destination.assign(8, 0xEE);
    EXPECT_EQ(ExpandBgrToBgra(pixels.data(), 6, destination.data(), 8, {2, 1}), pixel_done);
    EXPECT_THAT(destination, ElementsAre(1, 2, 3, 0xEE, 4, 5, 6, 0xEE));
    EXPECT_EQ(FillAlpha(255, destination.data() + 3, 8, {2, 1}), pixel_done);
    EXPECT_THAT(destination, ElementsAre(1, 2, 3, 255, 4, 5, 6, 255));
}

TEST(Conversion, Premultiplication) {
    const Bytes pixels = {10, 128, 255, 255, 10, 128, 255, 0, 10, 128, 255, 128, 1, 2, 3, 254};
    Bytes destination(16, 0xEE);
    EXPECT_EQ(PremultiplyBgra(pixels.data(), 16, destination.data(), 16, {4, 1}), pixel_done);
    EXPECT_THAT(destination,
                ElementsAre(10, 128, 255, 255, 0, 0, 0, 0, 5, 64, 128, 128, 0, 1, 2, 254));
}

TEST(Conversion, BottomUp) {
    const Bytes pixels = {1, 1, 1, 0, 2, 2, 2, 0};
    Bytes destination(8, 0);
    EXPECT_EQ(CopyBgrxToBgra(pixels.data(), 4, destination.data() + 4, -4, {1, 2}), pixel_done);
    EXPECT_THAT(destination, ElementsAre(2, 2, 2, 0, 1, 1, 1, 0));
}

TEST(Conversion, OddPlanarSizesLeaveTheRestUntouched) {
    for (const Conversion& conversion : AllConversions()) {
        if (!conversion.halves_rows) continue;
        for (const PixelSize size : {PixelSize{3, 2}, PixelSize{2, 3}, PixelSize{3, 3},
                                     PixelSize{1, 1}, PixelSize{4, 1}, PixelSize{1, 4}}) {
            const Bytes source(64, 128);
            Bytes destination(64, 0xEE);
            EXPECT_EQ(conversion.run({source.data(), source.data(), source.data()}, {4, 4, 4},
                                     destination.data(), 16, size, 255),
                      35);
            for (std::int32_t y = 0; y < 4; ++y) {
                for (std::int32_t x = 0; x < 4; ++x) {
                    const bool inside = x < size.width / 2 * 2 && y < size.height / 2 * 2;
                    EXPECT_EQ(destination[static_cast<std::size_t>(16 * y + 4 * x + 3)],
                              inside ? 255 : 0xEE)
                        << x << "," << y;
                }
            }
        }
    }
}

TEST(Conversion, ResultCodes) {
    const Bytes bytes(64);
    Bytes destination(64, 0xEE);
    for (const Conversion& conversion : AllConversions()) {
        SCOPED_TRACE(conversion.name);
        const Planes planes = {bytes.data(), bytes.data(), bytes.data()};
        const Steps steps = {8, 8, 8};
        for (const PixelSize size :
             {PixelSize{0, 2}, PixelSize{2, 0}, PixelSize{-2, 2}, PixelSize{2, -2}}) {
            EXPECT_EQ(conversion.run(planes, steps, destination.data(), 8, size, 255), -6);
        }
        if (std::string(conversion.name) == "alpha") continue;
        EXPECT_EQ(conversion.run(planes, steps, nullptr, 8, {2, 2}, 255), -8);
        for (std::size_t missing = 0; missing < conversion.sources({2, 2}).size(); ++missing) {
            Planes some = planes;
            some[missing] = nullptr;
            EXPECT_EQ(conversion.run(some, steps, destination.data(), 8, {2, 2}, 255), -8)
                << missing;
        }
    }
    EXPECT_EQ(FillAlpha(1, nullptr, 8, {2, 2}), -8);
    EXPECT_EQ(ConvertI420ToBgra(nullptr, nullptr, destination.data(), 8, {2, 2}, 255), -8);
    EXPECT_EQ(destination, Bytes(64, 0xEE));
}

}  // namespace
}  // namespace Vimbrel::test

// The player against hand-made animations, pixel by pixel.
#include "apps/vimbrel/layers/GifPlayer.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/GifBuilder.h"
#include "tests/support/Imaging.h"
#include "tests/support/TempFolder.h"

namespace studio {
namespace {

using Vimbrel::MediaSourcePicture;
using Vimbrel::test::GifBuilder;
using Vimbrel::test::TempFolder;

class GifPlayerTest : public testing::Test {
protected:
    GifPlayerTest() { source.SetWicImagingFactory(imaging.factory.Get()); }

    void Open(const GifBuilder& gif) {
        source.SetFileName(folder.Write("a.gif", gif.bytes).wstring().c_str());
        ASSERT_TRUE(source.Open());
    }

    // One digit a pixel, "." where it is transparent; colour indices of one digit only.
    static std::string Show(const Raster& raster) {
        std::string text;
        for (int x = 0; x < raster.width * raster.height; ++x) {
            const std::uint8_t* pixel = raster.At(x % raster.width, x / raster.width);
            const auto color =
                static_cast<std::uint32_t>(pixel[2] << 16 | pixel[1] << 8 | pixel[0]);
            const auto at = std::find(GifBuilder::colors.begin(), GifBuilder::colors.end(), color);
            text +=
                pixel[3] == 0 ? '.' : static_cast<char>('0' + (at - GifBuilder::colors.begin()));
        }
        return text;
    }

    Vimbrel::test::Imaging imaging;
    TempFolder folder;
    MediaSourcePicture source;
};

TEST_F(GifPlayerTest, RectanglesTransparencyAndDisposalComposeTheScreen) {
    // A screen of four pixels in a row; every frame lasts 100 ms.
    GifBuilder gif(4, 1);
    gif.Control(10, 1).Image(0, 0, 4, 1, {1, 1, 1, 1});
    gif.Control(10, 0, true, 9).Image(1, 0, 2, 1, {2, 9});  // the second pixel shows what was there
    gif.Control(10, 2).Image(2, 0, 2, 1, {3, 3});           // its rectangle is cleared afterwards
    gif.Control(10, 3).Image(0, 0, 2, 1, {4, 4});           // what was there comes back afterwards
    gif.Control(10, 1).Image(3, 0, 3, 1, {5, 6, 7});        // partly outside the screen
    gif.Trailer();
    ASSERT_NO_FATAL_FAILURE(Open(gif));
    GifPlayer player(source);
    const char* const expected[] = {"1111", "1211", "1233", "44..", "12.5"};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(player.AdvanceTo(i * 100), i != 0) << i;
        EXPECT_FALSE(player.AdvanceTo(i * 100 + 99)) << i;
        EXPECT_EQ(Show(player.Picture()), expected[i]) << i;
    }
    EXPECT_TRUE(player.AdvanceTo(500));
    EXPECT_EQ(Show(player.Picture()), "1111") << "from the start, on an empty screen";
    EXPECT_TRUE(player.AdvanceTo(500 * 40 + 250));
    EXPECT_EQ(Show(player.Picture()), "1233") << "over many passes at once";
}

TEST_F(GifPlayerTest, ACountOfRepetitionsEndsOnTheLastFrame) {
    GifBuilder gif(1, 1);
    gif.Application("NETSCAPE2.0", {1, 2, 0})
        .Control(10)
        .Image(0, 0, 1, 1, {1})
        .Control(10)
        .Image(0, 0, 1, 1, {2})
        .Trailer();
    ASSERT_NO_FATAL_FAILURE(Open(gif));
    GifPlayer player(source);
    std::string shown;
    for (int ms = 0; ms < 1000; ms += 100) {
        player.AdvanceTo(ms);
        shown += Show(player.Picture());
    }
    EXPECT_EQ(shown, "1212122222");
}

}  // namespace
}  // namespace studio

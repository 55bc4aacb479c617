// The player against hand-made animations, pixel by pixel.
#include "apps/vimbrel/GifPlayer.h"

#include <gtest/gtest.h>
#include <wincodec.h>

#include "com/ComPtr.h"
#include "tests/support/GifBytes.h"
#include "tests/support/TempFolder.h"

namespace studio {
namespace {

using Vimbrel::MediaSourcePicture;
using Vimbrel::test::GifBytes;
using Vimbrel::test::GifFrameBytes;
using Vimbrel::test::TempFolder;

class GifPlayerTest : public testing::Test {
protected:
    GifPlayerTest() {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        EXPECT_GE(CoCreateInstance(CLSID_WICImagingFactory2, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(factory.Put())), 0);
        source.SetWicImagingFactory(factory.Get());
    }
    ~GifPlayerTest() override { CoUninitialize(); }

    void Open(const GifBytes& gif) {
        source.SetFileName(folder.Write("a.gif", gif.Make()).wstring().c_str());
        ASSERT_TRUE(source.Open());
        ASSERT_EQ(source.GetDecodedFrameCount(), static_cast<int>(gif.frames.size()));
    }

    // One digit a pixel, "." where it is transparent; colour indices of one digit only.
    static std::string Show(const Raster& raster) {
        std::string text;
        for (int x = 0; x < raster.width * raster.height; ++x) {
            const std::uint8_t* pixel = raster.At(x % raster.width, x / raster.width);
            int index = 0;
            while (index < 10 && GifBytes::Color(index) != static_cast<std::uint32_t>(pixel[2] << 16 | pixel[1] << 8 | pixel[0])) ++index;
            text += pixel[3] == 0 ? '.' : static_cast<char>('0' + index);
        }
        return text;
    }

    TempFolder folder;
    Vimbrel::ComPtr<IWICImagingFactory2> factory;
    MediaSourcePicture source;
};

TEST_F(GifPlayerTest, RectanglesTransparencyAndDisposalComposeTheScreen) {
    // A screen of four pixels in a row; every frame lasts 100 ms.
    GifBytes gif{.width = 4, .height = 1};
    const auto frame = [](int left, std::vector<std::uint8_t> indices, int disposal, std::optional<int> transparent = {}) {
        return GifFrameBytes{.left = left,
                             .width = static_cast<int>(indices.size()),
                             .indices = indices,
                             .delay = 10,
                             .disposal = disposal,
                             .transparent = transparent};
    };
    gif.frames = {
        frame(0, {1, 1, 1, 1}, 1), frame(1, {2, 9}, 0, 9),  // the second pixel shows what was there
        frame(2, {3, 3}, 2),                                // its rectangle is cleared afterwards
        frame(0, {4, 4}, 3),                                // what was there comes back afterwards
        frame(3, {5, 6, 7}, 1),                             // partly outside the screen
    };
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
    GifBytes gif{.width = 1, .height = 1, .application = "NETSCAPE2.0", .loops = 2};
    gif.frames = {{.indices = {1}, .delay = 10}, {.indices = {2}, .delay = 10}};
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

// What is done to pixels: turning by the output's rotation, and the three kinds of pointers.
#include <gmock/gmock.h>

#include <numeric>
#include <vector>

#include "ScreenCapture/OutputTurn.h"
#include "ScreenCapture/PointerInfo.h"
#include "ScreenCapture/system/CaptureSystem.h"

namespace Vimbrel::test {

namespace {

using testing::Each;
using testing::ElementsAre;
using Pixels = std::vector<std::uint32_t>;

BYTE* Bytes(Pixels& pixels) { return reinterpret_cast<BYTE*>(pixels.data()); }

TEST(OutputTurnTest, FourAnglesOnOddSizes) {
    // 3 x 2 in the output's own orientation, with a gap behind each row.
    Pixels lying{1, 2, 3, 99, 4, 5, 6, 99};
    // 2 x 3.
    Pixels standing{1, 2, 99, 3, 4, 99, 5, 6, 99};
    const auto turn = [](Pixels& source, LONG pitch, int width, int height, int rotation,
                         bool opaque = false) {
        Pixels target(5 * 4, 0);
        const bool upright = rotation == 1 || rotation == 3;
        const int w = upright ? width : height;
        const int h = upright ? height : width;
        TurnOutput({Bytes(source), pitch, width, height, opaque}, rotation, {1, 1, 1 + w, 1 + h},
                   {Bytes(target), 5, 4});
        Pixels inside;
        for (int y = 0; y < h; ++y)
            inside.insert(inside.end(), &target[(y + 1) * 5 + 1], &target[(y + 1) * 5 + 1 + w]);
        // Nothing else was touched.
        EXPECT_EQ(std::accumulate(target.begin(), target.end(), 0u),
                  std::accumulate(inside.begin(), inside.end(), 0u));
        return inside;
    };
    EXPECT_THAT(turn(lying, 4, 3, 2, 1), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_THAT(turn(standing, 3, 2, 3, 2), ElementsAre(5, 3, 1, 6, 4, 2));
    EXPECT_THAT(turn(lying, 4, 3, 2, 3), ElementsAre(6, 5, 4, 3, 2, 1));
    EXPECT_THAT(turn(standing, 3, 2, 3, 4), ElementsAre(2, 4, 6, 1, 3, 5));
    EXPECT_THAT(turn(lying, 4, 3, 2, 2), ElementsAre(4, 1, 5, 2, 6, 3));
    EXPECT_THAT(turn(lying, 4, 3, 2, 0), Each(0u));
    // Undefined fourth bytes.
    constexpr std::uint32_t alpha = 0xFF000000;
    lying[0] = 0x37000001;
    for (const int rotation : {1, 2, 3, 4})
        EXPECT_THAT(turn(lying, 4, 3, 2, rotation, true),
                    testing::UnorderedElementsAre(alpha + 1, alpha + 2, alpha + 3, alpha + 4,
                                                  alpha + 5, alpha + 6));
}

TEST(OutputTurnTest, StaysInsideWhatThereIs) {
    Pixels source{1, 2, 3, 4};
    Pixels target(4, 0);
    TurnOutput({Bytes(source), 2, 2, 2}, 1, {-1, 1, 1, 3}, {Bytes(target), 2, 2});
    EXPECT_THAT(target, ElementsAre(0, 0, 2, 0));
    // A picture smaller than the place, and none at all.
    TurnOutput({Bytes(source), 2, 2, 2}, 1, {0, 0, 3, 2}, {Bytes(target), 2, 2});
    TurnOutput({nullptr, 2, 2, 2}, 1, {0, 0, 2, 2}, {Bytes(target), 2, 2});
    EXPECT_THAT(target, ElementsAre(0, 0, 2, 0));
}

class PointerTest : public testing::Test {
protected:
    // Draws the shape at (x, y) of the desktop; the target shows all of it.
    Pixels Draw(UINT type, UINT width, UINT height, UINT pitch, std::vector<BYTE> shape, LONG x,
                LONG y, Pixels target, LONG row_length, RECT clip = {}) {
        const RECT frame{0, 0, row_length, static_cast<LONG>(target.size()) / row_length};
        PointerInfo pointer;
        pointer.shape = std::make_unique<BYTE[]>(shape.size());
        std::copy(shape.begin(), shape.end(), pointer.shape.get());
        pointer.size = static_cast<UINT>(shape.size());
        pointer.shapeInfo.Type = type;
        pointer.shapeInfo.Width = width;
        pointer.shapeInfo.Height = height;
        pointer.shapeInfo.Pitch = pitch;
        pointer.shapeInfo.HotSpot = {1, 1};  // not subtracted
        pointer.frameInfo.PointerPosition.Position = {x, y};
        DrawPointer(pointer, gdiplus, Bytes(target), IsRectEmpty(&clip) ? frame : clip, frame);
        return target;
    }

    static std::vector<BYTE> ShapeOf(Pixels pixels) {
        return {Bytes(pixels), Bytes(pixels) + pixels.size() * 4};
    }

    GdiPlus& gdiplus = PlatformCaptureSystem().gdiplus;
    ULONG_PTR token = 0;

    PointerTest() { EXPECT_EQ(gdiplus.GdiplusStartup(&token, 1), 0); }
    ~PointerTest() override { gdiplus.GdiplusShutdown(token); }
};

TEST_F(PointerTest, MaskedColour) {
    const auto shape = ShapeOf({0x00123456, 0xFF0F0F0F, 0, 0x01FFFFFF, 0x80000000, 0});
    // Row pitch of three pixels; the third column is padding.
    EXPECT_THAT(Draw(4, 2, 2, 12, shape, 1, 1, Pixels(9, 0xFF112233), 3),
                ElementsAre(0xFF112233, 0xFF112233, 0xFF112233, 0xFF112233, 0x00123456, 0xFF1E2D3C,
                            0xFF112233, 0xFFEEDDCC, 0xFF112233));
    // Cut on the left and above: only the last pixel is left.
    EXPECT_THAT(Draw(4, 2, 2, 12, shape, -1, -1, Pixels(4, 0xFF112233), 2),
                ElementsAre(0xFF112233, 0xFF112233, 0xFF112233, 0xFF112233));
    EXPECT_THAT(Draw(4, 2, 2, 12, shape, 0, -1, Pixels(4, 0xFF112233), 2),
                ElementsAre(0xFFEEDDCC, 0xFF112233, 0xFF112233, 0xFF112233));
}

TEST_F(PointerTest, MonochromeHasTwoPlanesOfHalfTheHeight) {
    // 10 x 2: AND rows, then XOR rows; two bytes each. The four combinations stand in columns 0, 1,
    // 8 and 9.
    const std::vector<BYTE> shape{0x40, 0x40, 0xFF, 0xFF, 0x00, 0xC0, 0x00, 0x00};
    Pixels expected(20, 0xFF112233);
    for (int column = 0; column < 10; ++column)
        expected[static_cast<std::size_t>(column)] = 0xFF000000;
    expected[1] = 0xFF112233;  // AND
    expected[8] = 0xFFFFFFFF;  // XOR
    expected[9] = 0xFFEEDDCC;  // both
    EXPECT_EQ(Draw(1, 10, 4, 2, shape, 0, 0, Pixels(20, 0xFF112233), 10), expected);
    // 64 reported rows draw 32.
    const Pixels tall =
        Draw(1, 8, 64, 1, std::vector<BYTE>(64, 0), 0, 0, Pixels(8 * 40, 0xFF112233), 8);
    EXPECT_EQ(std::count(tall.begin(), tall.end(), 0xFF000000), 8 * 32);
    EXPECT_EQ(tall[8 * 32], 0xFF112233u);
}

TEST_F(PointerTest, ColourBlends) {
    const auto shape = ShapeOf({0xFF0000FF, 0x00FFFFFF, 0x80FF0000, 0xFF00FF00});
    const Pixels drawn = Draw(2, 2, 2, 8, shape, 0, 0, Pixels(4, 0xFF404040), 2);
    EXPECT_EQ(drawn[0], 0xFF0000FFu);
    EXPECT_EQ(drawn[1], 0xFF404040u);
    EXPECT_EQ(drawn[3], 0xFF00FF00u);
    // Half: the rounding is the drawing library's.
    EXPECT_NEAR(drawn[2] >> 16 & 0xFF, 0xA0, 1);
    EXPECT_NEAR(drawn[2] >> 8 & 0xFF, 0x20, 1);
    EXPECT_EQ(drawn[2] >> 24, 0xFFu);
    const Pixels cut = Draw(2, 2, 2, 8, shape, 1, 1, Pixels(4, 0xFF404040), 2);
    EXPECT_THAT(cut, ElementsAre(0xFF404040, 0xFF404040, 0xFF404040, 0xFF0000FF));
}

TEST_F(PointerTest, OddPlacesAndBrokenShapesWriteNothingOutside) {
    const Pixels before(4, 0xFF112233);
    // A desktop left of the origin, and one right of it: the clip rectangle is not moved along.
    Draw(4, 2, 2, 8, std::vector<BYTE>(16, 0xFF), -9, 0, before, 2, {-10, 0, -8, 2});
    Draw(4, 2, 2, 8, std::vector<BYTE>(16, 0xFF), 11, 0, before, 2, {10, 0, 12, 2});
    // Shapes whose memory is too small for what they say.
    for (const UINT type : {1u, 2u, 4u})
        EXPECT_EQ(Draw(type, 64, 64, 256, std::vector<BYTE>(8, 0xFF), 0, 0, before, 2), before);
    EXPECT_EQ(Draw(4, 2, 2, 1, std::vector<BYTE>(16, 0xFF), 0, 0, before, 2), before);
    EXPECT_EQ(Draw(3, 2, 2, 8, std::vector<BYTE>(16, 0xFF), 0, 0, before, 2), before);
}

}  // namespace

}  // namespace Vimbrel::test

// Masks in pictures of every form, read back by the library's own conversions.
#include "platform/linux/ds/file/MaskPainter.h"

#include <gtest/gtest.h>

#include <wmcodecdsp.h>

#include "pixel/PixelOperations.h"
#include "tests/support/GraphKit.h"
#include "tests/support/TempFolder.h"

namespace Vimbrel::test {
namespace {

struct Form {
    const char* name;
    GUID subtype;
    int bits;  // per pixel
    bool bottom_up = false;
};

void PrintTo(const Form& form, std::ostream* out) { *out << form.name; }

Bytes ToBgra(const Form& form, const Bytes& picture, int width, int height) {
    Bytes shown(static_cast<std::size_t>(width) * height * 4);
    const PixelSize size{width, height};
    const int to = width * 4;
    const std::uint8_t* const luma = picture.data();
    const std::uint8_t* const chroma = luma + width * height;
    const std::uint8_t* const second = chroma + (width / 2) * (height / 2);
    const std::int32_t steps[] = {width, width / 2, width / 2};
    const std::uint8_t* const planes[] = {luma, chroma, second};
    if (form.subtype == MEDIASUBTYPE_NV12) {
        ConvertNv12ToBgra(luma, width, chroma, width, shown.data(), to, size, 255);
    } else if (form.subtype == MEDIASUBTYPE_I420) {
        ConvertI420ToBgra(planes, steps, shown.data(), to, size, 255);
    } else if (form.subtype == MEDIASUBTYPE_YV12) {
        const std::uint8_t* const turned[] = {luma, second, chroma};
        ConvertYv12ToBgra(turned, steps, shown.data(), to, size, 255);
    } else if (form.subtype == MEDIASUBTYPE_YUY2) {
        ConvertYuy2ToBgra(luma, width * 2, shown.data(), to, size, 255);
    } else if (form.subtype == MEDIASUBTYPE_UYVY) {
        ConvertUyvyToBgra(luma, width * 2, shown.data(), to, size, 255);
    } else {
        const int bytes = form.bits / 8;
        for (int y = 0; y < height; ++y) {
            const int row = form.bottom_up ? height - 1 - y : y;
            for (int x = 0; x < width; ++x)
                std::copy_n(luma + (row * width + x) * bytes, bytes,
                            shown.begin() + (y * width + x) * 4);
        }
    }
    return shown;
}

class Forms : public testing::TestWithParam<Form> {};

TEST_P(Forms, TakeTheColourWhereTheMaskCovers) {
    const Form& form = GetParam();
    InitializePixelOperations();
    constexpr int width = 16;
    constexpr int height = 12;
    const auto bytes = static_cast<std::size_t>(width * height * form.bits / 8);
    MaskPainter painter;
    painter.SetType(VideoType(form.subtype, width, form.bottom_up ? height : -height,
                              static_cast<DWORD>(bytes)));
    ASSERT_EQ(painter.Width(), width);
    // One mask within the picture and one beyond each of its edges.
    const std::vector<std::uint8_t> cover(100 * 100, 255);
    for (const bool outside : {false, true}) {
        Bytes picture(bytes + 64, 128);
        ColorMask mask{cover.data(), 100, 4, 2, 6, 4, 200, 40, 90, 255};
        if (outside) mask = {cover.data(), 100, -7, -9, 60, 50, 200, 40, 90, 255};
        painter.Draw(mask, picture.data(), static_cast<std::int64_t>(bytes));
        EXPECT_EQ(Bytes(picture.begin() + static_cast<std::ptrdiff_t>(bytes), picture.end()),
                  Bytes(64, 128));
        const Bytes bare = ToBgra(form, Bytes(bytes, 128), width, height);
        const Bytes shown = ToBgra(form, picture, width, height);
        for (int i = 0; i < width * height; ++i) {
            const int x = i % width;
            const int y = i / width;
            const bool covered = outside || (x >= 4 && x < 10 && y >= 2 && y < 6);
            const int expected[] = {90, 40, 200};
            for (int c = 0; c < 3; ++c)
                ASSERT_NEAR(shown[i * 4 + c], covered ? expected[c] : bare[i * 4 + c], 3)
                    << x << "," << y;
        }
        // A sample that is too short stays as it is.
        Bytes shorter(bytes, 128);
        painter.Draw(mask, shorter.data(), static_cast<std::int64_t>(bytes) - 1);
        EXPECT_EQ(shorter, Bytes(bytes, 128));
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, Forms,
    testing::Values(Form{"Nv12", MEDIASUBTYPE_NV12, 12}, Form{"I420", MEDIASUBTYPE_I420, 12},
                    Form{"Yv12", MEDIASUBTYPE_YV12, 12}, Form{"Yuy2", MEDIASUBTYPE_YUY2, 16},
                    Form{"Uyvy", MEDIASUBTYPE_UYVY, 16}, Form{"Rgb24", MEDIASUBTYPE_RGB24, 24},
                    Form{"Rgb32", MEDIASUBTYPE_RGB32, 32}, Form{"Argb32", MEDIASUBTYPE_ARGB32, 32},
                    Form{"BottomUp", MEDIASUBTYPE_RGB32, 32, true}),
    testing::PrintToStringParamName());

}  // namespace
}  // namespace Vimbrel::test

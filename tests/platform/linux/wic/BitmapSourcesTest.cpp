#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "tests/platform/linux/wic/StillFiles.h"

namespace Vimbrel::test {
namespace {

ComPtr<IWICBitmap> MakeBitmap(UINT width, UINT height, const Bytes& pixels) {
    ComPtr<IWICBitmap> bitmap;
    EXPECT_EQ(CreateBitmap(width, height, width * 4, static_cast<UINT>(pixels.size()),
                           pixels.data(), bitmap.Put()),
              S_OK);
    return bitmap;
}

Bytes Flat(UINT width, UINT height, const Bytes& pixel) {
    Bytes pixels;
    for (std::size_t i = 0; i < std::size_t{width} * height; ++i)
        pixels.insert(pixels.end(), pixel.begin(), pixel.end());
    return pixels;
}

Bytes Ramp(UINT width, UINT height) {
    Bytes pixels;
    for (UINT y = 0; y < height; ++y) {
        for (UINT x = 0; x < width; ++x) {
            for (const UINT sample : {x * 5, y * 7, x + y, 255u})
                pixels.push_back(static_cast<std::uint8_t>(sample));
        }
    }
    return pixels;
}

ComPtr<IWICBitmapScaler> Scale(IWICBitmapSource* source, UINT width, UINT height,
                               WICBitmapInterpolationMode mode) {
    ComPtr<IWICBitmapScaler> scaler;
    EXPECT_EQ(CreateBitmapScaler(scaler.Put()), S_OK);
    EXPECT_EQ(scaler->Initialize(source, width, height, mode), S_OK);
    return scaler;
}

TEST(Bitmap, ChecksWhatItCopiesAndOwnsIt) {
    Bytes pixels = Ramp(5, 3);
    ComPtr<IWICBitmap> bitmap;
    EXPECT_EQ(CreateBitmap(5, 3, 20, 60, nullptr, bitmap.Put()), E_INVALIDARG);
    EXPECT_EQ(CreateBitmap(0, 3, 20, 60, pixels.data(), bitmap.Put()), E_INVALIDARG);
    EXPECT_EQ(CreateBitmap(5, 0, 20, 60, pixels.data(), bitmap.Put()), E_INVALIDARG);
    EXPECT_EQ(CreateBitmap(5, 3, 19, 60, pixels.data(), bitmap.Put()), E_INVALIDARG);
    EXPECT_EQ(CreateBitmap(5, 3, 20, 59, pixels.data(), bitmap.Put()),
              WINCODEC_ERR_INSUFFICIENTBUFFER);
    EXPECT_EQ(CreateBitmap(1u << 15, 1u << 14, 1u << 17, std::numeric_limits<UINT>::max(),
                           pixels.data(), bitmap.Put()),
              WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
    EXPECT_FALSE(bitmap);
    // The last row needs no padding.
    EXPECT_EQ(CreateBitmap(2, 3, 20, 48, pixels.data(), bitmap.Put()), S_OK);

    const ComPtr<IWICBitmap> whole = MakeBitmap(5, 3, pixels);
    std::fill(pixels.begin(), pixels.end(), std::uint8_t{0});
    EXPECT_EQ(CopyAll(whole.Get()), Ramp(5, 3)) << "its own pixels";
}

TEST(BitmapSource, CopiesParts) {
    const ComPtr<IWICBitmap> bitmap = MakeBitmap(8, 6, Ramp(8, 6));
    const WICRect rect{2, 1, 3, 2};
    Bytes part(2 * 20, 0xEE);
    ASSERT_EQ(bitmap->CopyPixels(&rect, 20, 20 + 12, part.data()), S_OK);
    const Bytes expected = {10, 7, 3, 255, 15, 7, 4, 255, 20, 7, 5, 255};
    EXPECT_EQ((Bytes{part.begin(), part.begin() + 12}), expected);
    EXPECT_EQ((Bytes{part.begin() + 12, part.begin() + 20}), Bytes(8, 0xEE));
    EXPECT_EQ(part[20 + 1], 14);
    EXPECT_EQ((Bytes{part.begin() + 32, part.end()}), Bytes(8, 0xEE));

    EXPECT_EQ(bitmap->CopyPixels(&rect, 20, 31, part.data()), WINCODEC_ERR_INSUFFICIENTBUFFER);
    EXPECT_EQ(bitmap->CopyPixels(&rect, 11, 40, part.data()), E_INVALIDARG);
    EXPECT_EQ(bitmap->CopyPixels(&rect, 20, 40, nullptr), E_INVALIDARG);
    for (const WICRect outside :
         {WICRect{6, 1, 3, 2}, WICRect{-1, 0, 3, 2}, WICRect{0, 5, 3, 2}, WICRect{0, 0, 0, 2}}) {
        EXPECT_EQ(bitmap->CopyPixels(&outside, 20, 40, part.data()), E_INVALIDARG);
    }
}

// Vector code likes to write a little more than it was asked for.
TEST(BitmapScaler, WritesOnlyItsPixels) {
    TempFolder folder;
    folder.Run(
        "ffmpeg -v error -f lavfi -i testsrc2=s=50x41 -frames:v 1 -pix_fmt yuvj420p a.jpg && "
        "/usr/bin/convert a.jpg b.png && "
        "/usr/bin/convert a.jpg -colors 8 PNG8:c.png && /usr/bin/convert a.jpg -alpha set -channel "
        "A -evaluate set 40% d.png && "
        "/usr/bin/convert a.jpg -colorspace gray e.png");
    for (const char* name : {"a.jpg", "b.png", "c.png", "d.png", "e.png"}) {
        ComPtr<IWICBitmapFrameDecode> frame;
        ASSERT_EQ(OpenStill(folder / name, &frame), S_OK);
        for (const UINT width :
             {1u, 2u, 3u, 7u, 15u, 16u, 17u, 31u, 33u, 48u, 50u, 64u, 65u, 100u}) {
            for (const UINT height : {1u, 5u, 41u, 90u}) {
                const ComPtr<IWICBitmapScaler> scaler =
                    Scale(frame.Get(), width, height, WICBitmapInterpolationModeCubic);
                const Bytes reference = CopyAll(scaler.Get());
                for (const UINT offset : {0u, 1u, 4u, 16u}) {
                    for (const UINT padding : {0u, 3u, 64u}) {
                        const UINT row = width * 4;
                        const UINT stride = row + padding;
                        const UINT size = stride * (height - 1) + row;
                        Bytes buffer(offset + size + 128, 0xC3);
                        ASSERT_EQ(scaler->CopyPixels(nullptr, stride, size, buffer.data() + offset),
                                  S_OK);
                        for (std::size_t i = 0; i < buffer.size(); ++i) {
                            const std::size_t at = i - offset;
                            const bool inside = i >= offset && at < size && at % stride < row;
                            const std::uint8_t expected =
                                inside ? reference[at / stride * row + at % stride] : 0xC3;
                            ASSERT_EQ(buffer[i], expected) << name << " " << width << "x" << height
                                                           << " stride " << stride << " at " << i;
                        }
                    }
                }
            }
        }
    }
}

TEST(BitmapScaler, KeepsFlatColours) {
    const Bytes pixel = {90, 60, 30, 120};
    const ComPtr<IWICBitmap> bitmap = MakeBitmap(40, 30, Flat(40, 30, pixel));
    for (const auto mode :
         {WICBitmapInterpolationModeNearestNeighbor, WICBitmapInterpolationModeLinear,
          WICBitmapInterpolationModeCubic, WICBitmapInterpolationModeFant}) {
        for (const UINT width : {1u, 9u, 40u, 77u}) {
            const Bytes pixels = CopyAll(Scale(bitmap.Get(), width, 11, mode).Get());
            ASSERT_EQ(pixels.size(), width * 44u);
            for (std::size_t i = 0; i < pixels.size(); ++i)
                ASSERT_NEAR(pixels[i], pixel[i % 4], 1) << mode << " " << width;
        }
    }
}

// Half and half: each mode but the nearest must take all source pixels into account.
TEST(BitmapScaler, ReducesBySmoothing) {
    Bytes stripes;
    for (UINT i = 0; i < 256 * 8; ++i) {
        for (int c = 0; c < 3; ++c) stripes.push_back(i % 2 ? 255 : 0);
        stripes.push_back(255);
    }
    const ComPtr<IWICBitmap> bitmap = MakeBitmap(256, 8, stripes);
    for (const auto mode : {WICBitmapInterpolationModeLinear, WICBitmapInterpolationModeCubic,
                            WICBitmapInterpolationModeFant}) {
        const Bytes pixels = CopyAll(Scale(bitmap.Get(), 32, 2, mode).Get());
        ASSERT_EQ(pixels.size(), 256u);
        // The edges repeat their last pixel.
        for (std::size_t x = 1; x < 31; ++x)
            ASSERT_NEAR(pixels[x * 4], 127.5, 3) << mode << " " << x;
    }
}

TEST(BitmapScaler, KeepsTheColourOfTransparentPixelsOut) {
    TempFolder folder;
    // White and opaque beside red and transparent.
    Bytes raw;
    for (int i = 0; i < 32 * 8; ++i) {
        const bool white = i % 32 < 16;
        for (const int sample : {255, white ? 255 : 0, white ? 255 : 0, white ? 255 : 0})
            raw.push_back(static_cast<std::uint8_t>(sample));
    }
    folder.Write("raw", raw);
    for (const char* format :
         {"PNG32:x", "x.tif", "-define webp:lossless=true -define webp:exact=true x.webp",
          "-depth 16 PNG64:x"}) {
        SCOPED_TRACE(format);
        folder.Run(std::string("/usr/bin/convert -size 32x8 -depth 8 rgba:raw ") + format +
                   " && mv x* y");
        ComPtr<IWICBitmapFrameDecode> frame;
        ASSERT_EQ(OpenStill(folder / "y", &frame), S_OK);
        const Bytes pixels =
            CopyAll(Scale(frame.Get(), 11, 3, WICBitmapInterpolationModeCubic).Get());
        ASSERT_EQ(pixels.size(), 132u);
        for (std::size_t i = 0; i < pixels.size(); i += 4) {
            for (std::size_t c = 0; c < 3; ++c) {
                ASSERT_LE(pixels[i + c], pixels[i + 3]);
                ASSERT_NEAR(pixels[i + c], pixels[i + 3], 1);
            }
        }
    }
}

TEST(BitmapScaler, ReducesBeyondTheFiltersReach) {
    const ComPtr<IWICBitmap> bitmap = MakeBitmap(9000, 700, Flat(9000, 700, {10, 200, 100, 255}));
    testing::internal::CaptureStderr();
    const Bytes pixels = CopyAll(Scale(bitmap.Get(), 3, 1, WICBitmapInterpolationModeCubic).Get());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    ASSERT_EQ(pixels.size(), 12u);
    EXPECT_NEAR(pixels[0], 10, 1);
    EXPECT_NEAR(pixels[5], 200, 1);
    EXPECT_NEAR(pixels[10], 100, 1);
}

TEST(BitmapScaler, ChecksItsArguments) {
    const ComPtr<IWICBitmap> bitmap = MakeBitmap(4, 4, Ramp(4, 4));
    ComPtr<IWICBitmapScaler> scaler;
    ComPtr<IWICBitmapScaler> empty;
    ASSERT_EQ(CreateBitmapScaler(scaler.Put()), S_OK);
    ASSERT_EQ(CreateBitmapScaler(empty.Put()), S_OK);
    const struct {
        IWICBitmapSource* source;
        UINT width, height;
        HRESULT result;
    } cases[] = {
        {bitmap.Get(), 0, 1, E_INVALIDARG},
        {bitmap.Get(), 1, 0, E_INVALIDARG},
        {nullptr, 1, 1, E_INVALIDARG},
        {empty.Get(), 1, 1, WINCODEC_ERR_NOTINITIALIZED},
        {bitmap.Get(), 1u << 15, 1u << 15, WINCODEC_ERR_IMAGESIZEOUTOFRANGE},
        {bitmap.Get(), 2, 3, S_OK},
        {bitmap.Get(), 1, 1, WINCODEC_ERR_WRONGSTATE},
    };
    for (const auto& item : cases)
        EXPECT_EQ(scaler->Initialize(item.source, item.width, item.height,
                                     WICBitmapInterpolationModeCubic),
                  item.result);
    EXPECT_EQ(CopyAll(scaler.Get()).size(), 24u);
    std::uint8_t pixel[4];
    EXPECT_EQ(empty->CopyPixels(nullptr, 4, 4, pixel), WINCODEC_ERR_NOTINITIALIZED);
}

TEST(FormatConverter, PassesPixelsOnAndChecksItsArguments) {
    const ComPtr<IWICBitmap> bitmap = MakeBitmap(4, 4, Ramp(4, 4));
    ComPtr<IWICPalette> palette;
    ASSERT_EQ(CreatePalette(palette.Put()), S_OK);
    WICColor color = 0xFF102030;
    ASSERT_EQ(palette->InitializeCustom(&color, 1), S_OK);
    ComPtr<IWICFormatConverter> converter;
    ComPtr<IWICFormatConverter> indexed;
    ASSERT_EQ(CreateFormatConverter(converter.Put()), S_OK);
    ASSERT_EQ(CreateFormatConverter(indexed.Put()), S_OK);
    Bytes indices(16);
    EXPECT_EQ(converter->CopyPixels(nullptr, 4, 16, indices.data()), WINCODEC_ERR_NOTINITIALIZED);
    const auto initialise = [&](IWICFormatConverter* target, REFWICPixelFormatGUID format,
                                IWICPalette* colors) {
        return target->Initialize(bitmap.Get(), format, WICBitmapDitherTypeNone, colors, 0.0,
                                  WICBitmapPaletteTypeCustom);
    };
    EXPECT_EQ(initialise(converter.Get(), GUID_WICPixelFormat32bppBGRA, nullptr),
              WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT);
    EXPECT_EQ(initialise(converter.Get(), GUID_WICPixelFormat32bppPBGRA, palette.Get()),
              E_INVALIDARG);
    EXPECT_EQ(initialise(converter.Get(), GUID_WICPixelFormat8bppIndexed, nullptr), E_INVALIDARG);
    EXPECT_EQ(initialise(converter.Get(), GUID_WICPixelFormat32bppPBGRA, nullptr), S_OK);
    EXPECT_EQ(initialise(converter.Get(), GUID_WICPixelFormat32bppPBGRA, nullptr),
              WINCODEC_ERR_WRONGSTATE);
    EXPECT_EQ(CopyAll(converter.Get()), Ramp(4, 4));
    EXPECT_EQ(converter->CopyPalette(palette.Get()), WINCODEC_ERR_PALETTEUNAVAILABLE);
    // A byte a pixel.
    EXPECT_EQ(initialise(indexed.Get(), GUID_WICPixelFormat8bppIndexed, palette.Get()), S_OK);
    EXPECT_EQ(indexed->CopyPixels(nullptr, 3, 16, indices.data()), E_INVALIDARG);
    EXPECT_EQ(indexed->CopyPixels(nullptr, 4, 15, indices.data()), WINCODEC_ERR_INSUFFICIENTBUFFER);
}

}  // namespace
}  // namespace Vimbrel::test

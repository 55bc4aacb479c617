#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <utility>

#include "platform/linux/kernel/FreeMemory.h"
#include "tests/fakes/CapturingLog.h"
#include "tests/platform/linux/wic/GifTestKit.h"

namespace Vimbrel::test {
namespace {

using ::testing::ElementsAre;

constexpr std::uint32_t black = 0xFF000000, red = 0xFFFF0000, green = 0xFF00FF00, blue = 0xFF0000FF;

Bytes Ramp(std::size_t size, unsigned colors = 4) {
    Bytes indices(size);
    for (std::size_t i = 0; i < size; ++i)
        indices[i] = static_cast<std::uint8_t>((i * 7 + i / 5) % colors);
    return indices;
}

TEST(GifDecoder, GlobalMetadata) {
    const auto gif = OpenedGif(GifBuilder(300, 20, {0, 0x112233}, 1, 49)
                                   .Extension(0xFE, {{'h', 'i'}, {'!'}})
                                   .Extension(0xFE, {{'2', 'n', 'd'}})
                                   .Image(0, 0, 1, 1, {1})
                                   .Trailer()
                                   .bytes);
    ASSERT_TRUE(gif);
    EXPECT_EQ(ItemOf(gif.Get(), L"/LOGSCRDESC/height"), "ui2:20");
    EXPECT_EQ(ItemOf(gif.Get(), L"/commentext/TextEntry"), "text:hi!");
    EXPECT_EQ(ItemOf(gif.Get(), L"/commentext/Other"), "missing");
    for (const wchar_t* path :
         {L"", L"/", L"logscrdesc/Width", L"/logscrdesc", L"/logscrdesc/", L"//Width", L"/a/b/c"})
        EXPECT_EQ(ItemOf(gif.Get(), path), "88982F90") << std::wstring(path).size();
    ComPtr<IWICPalette> palette;
    Factory()->CreatePalette(palette.Put());
    EXPECT_EQ(gif->CopyPalette(palette.Get()), S_OK);
    EXPECT_THAT(ColorsOf(palette.Get()), ElementsAre(black, 0xFF112233));
}

TEST(GifDecoder, ALoopExtensionIsPreferredToOthersAndTheFirstOfEachIsTaken) {
    const auto data = [](GifBuilder& builder) {
        const auto gif = OpenedGif(builder.Image(0, 0, 1, 1, {1}).Trailer().bytes);
        return ItemOf(gif.Get(), L"/appext/data");
    };
    EXPECT_EQ(data(GifBuilder(1, 1)
                       .Application("XMP DataXMP", {9})
                       .Application("ANIMEXTS1.0", {1, 2, 0})
                       .Application("NETSCAPE2.0", {1, 3, 0})),
              "bytes:03 01 02 00 00");
    EXPECT_EQ(
        data(GifBuilder(1, 1).Application("XMP DataXMP", {9}).Application("ICCRGBG1012", {8})),
        "bytes:01 09 00");
    EXPECT_EQ(data(GifBuilder(1, 1).Raw({'!', 0xFE, 0})), "missing");
}

TEST(GifDecoder, FrameMetadata) {
    const auto gif = OpenedGif(GifBuilder(4, 4)
                                   .Control(1, 1, false, 0)
                                   .Control(0x1234, 3, true, 2)
                                   .Extension(0xFE, {{'x'}})
                                   .Image(65535, 3, 3, 9, Ramp(27), true)
                                   .Image(0, 0, 1, 1, {1})
                                   .Control(7, 2, true, 1)
                                   .Extension(0x01, {Bytes(12, 0), {'t'}})
                                   .Image(0, 0, 1, 1, {1})
                                   .Trailer()
                                   .bytes);
    ASSERT_TRUE(gif);
    const auto first = FrameOf(gif.Get(), 0);
    EXPECT_EQ(ItemOf(first.Get(), L"/imgdesc/Left"), "ui2:65535");
    EXPECT_EQ(ItemOf(first.Get(), L"/imgdesc/InterlaceFlag"), "bool:1");
    EXPECT_EQ(ItemOf(first.Get(), L"/grctlext/Delay"), "ui2:4660");
    EXPECT_EQ(ItemOf(first.Get(), L"/grctlext/TransparentColorIndex"), "ui1:2");
    // A control block serves one frame; a text to be drawn uses it up.
    for (const UINT index : {1u, 2u}) {
        for (const wchar_t* item :
             {L"/grctlext/Delay", L"/grctlext/Disposal", L"/grctlext/TransparencyFlag"})
            EXPECT_EQ(ItemOf(FrameOf(gif.Get(), index).Get(), item), "missing");
    }
}

TEST(GifDecoder, PixelsPalettesAndTransparency) {
    const auto gif = OpenedGif(GifBuilder(9, 9)
                                   .Image(0, 0, 2, 2, {0, 1, 2, 3})
                                   .Control(0, 0, true, 1)
                                   .Image(7, 8, 3, 1, {2, 1, 6}, false, {0x010203, 0xFFFFFF})
                                   .Control(0, 0, true, 200)
                                   .Image(0, 0, 1, 1, {1})
                                   .Trailer()
                                   .bytes);
    ASSERT_TRUE(gif);
    EXPECT_THAT(PixelsOf(FrameOf(gif.Get(), 0).Get()), ElementsAre(black, red, green, blue));
    // Indices beyond the palette are black, and the copied palette has them.
    const auto second = FrameOf(gif.Get(), 1);
    EXPECT_THAT(PixelsOf(second.Get()), ElementsAre(black, 0u, black));
    ComPtr<IWICPalette> palette;
    Factory()->CreatePalette(palette.Put());
    ASSERT_EQ(second->CopyPalette(palette.Get()), S_OK);
    EXPECT_THAT(ColorsOf(palette.Get()),
                ElementsAre(0xFF010203, 0u, black, black, black, black, black));
    EXPECT_THAT(PixelsOf(FrameOf(gif.Get(), 2).Get()), ElementsAre(red));

    const auto bare = OpenedGif(GifBuilder(2, 1, {}).Image(0, 0, 2, 1, {1, 0}).Trailer().bytes);
    EXPECT_EQ(ItemOf(bare.Get(), L"/logscrdesc/GlobalColorTableFlag"), "bool:0");
    EXPECT_EQ(bare->CopyPalette(palette.Get()), WINCODEC_ERR_PALETTEUNAVAILABLE);
    EXPECT_THAT(PixelsOf(FrameOf(bare.Get(), 0).Get()), ElementsAre(0xFFFFFFFF, black));
}

TEST(GifDecoder, PartsOfAFrameAndBuffersThatAreTooSmall) {
    const auto gif =
        OpenedGif(GifBuilder(3, 2).Image(0, 0, 3, 2, {0, 1, 2, 3, 2, 1}).Trailer().bytes);
    const auto frame = FrameOf(gif.Get(), 0);
    WICPixelFormatGUID format{};
    EXPECT_EQ(frame->GetPixelFormat(&format), S_OK);
    EXPECT_EQ(format, GUID_WICPixelFormat8bppIndexed);
    const WICRect part{1, 0, 2, 2};
    Bytes pixels(6, 9);
    EXPECT_EQ(frame->CopyPixels(&part, 4, 6, pixels.data()), S_OK);
    EXPECT_THAT(pixels, ElementsAre(1, 2, 9, 9, 2, 1));
    EXPECT_EQ(frame->CopyPixels(&part, 4, 5, pixels.data()), WINCODEC_ERR_INSUFFICIENTBUFFER);
    const WICRect outside{2, 0, 2, 2};
    EXPECT_EQ(frame->CopyPixels(&outside, 4, 6, pixels.data()), E_INVALIDARG);
    ComPtr<IWICBitmapFrameDecode> missing;
    EXPECT_EQ(gif->GetFrame(1, missing.Put()), WINCODEC_ERR_FRAMEMISSING);
}

TEST(GifDecoder, OldSignatureMissingTrailerGarbageAndStrayZerosAreTaken) {
    const auto base = [](const char* signature = "GIF89a") {
        return GifBuilder(2, 1, GifBuilder::colors, 0, 0, signature).Image(0, 0, 2, 1, {1, 2});
    };
    const Bytes files[] = {
        base("GIF87a").Trailer().bytes,
        base().bytes,
        base().Trailer().Raw({1, 2, 3, ',', '!', 0xFF}).bytes,
        base().Raw({7, 7, 7}).Trailer().bytes,
    };
    for (const Bytes& file : files) {
        const auto gif = OpenedGif(file);
        ASSERT_TRUE(gif);
        EXPECT_EQ(CountOf(gif.Get()), 1u);
        EXPECT_THAT(PixelsOf(FrameOf(gif.Get(), 0).Get()), ElementsAre(red, green));
    }
    const auto gif = OpenedGif(base().Raw({0, 0}).Image(0, 0, 1, 1, {3}).Trailer().bytes);
    EXPECT_THAT(PixelsOf(FrameOf(gif.Get(), 1).Get()), ElementsAre(blue));
}

TEST(GifDecoder, ADamagedFrameFailsAloneAndInAnyOrder) {
    const Bytes good = Ramp(40 * 30);
    GifBuilder builder(40, 30);
    builder.Image(0, 0, 40, 30, good);
    builder.Image(0, 0, 0, 30, {});  // 1: empty
    builder.Raw({',', 0, 0, 0, 0, 40, 0, 30, 0, 0, 4, 3, 0xFF, 0xFF, 0xFF,
                 0});  // 2: codes that are not yet made
    builder.Raw({',', 0, 0, 0, 0, 40, 0, 30, 0, 0, 12, 3, 0, 0, 0, 0});  // 3: code size
    builder.Raw({',', 0, 0, 0, 0, 40, 0, 30, 0, 0, 4, 1, 0x11, 0});      // 4: ends early
    builder.Image(1, 1, 40, 30, good, true).Trailer();                   // 5
    const auto gif = OpenedGif(builder.bytes);
    ASSERT_EQ(CountOf(gif.Get()), 6u);
    for (const UINT index : {5u, 3u, 0u, 4u, 1u, 2u, 5u}) {
        ComPtr<IWICBitmapFrameDecode> frame;
        const HRESULT hr = gif->GetFrame(index, frame.Put());
        if (index == 0 || index == 5) {
            ASSERT_EQ(hr, S_OK) << index;
            EXPECT_EQ(IndicesOf(frame.Get()), good);
        } else {
            EXPECT_EQ(hr, WINCODEC_ERR_BADIMAGE) << index;
            EXPECT_FALSE(frame);
        }
    }
}

TEST(GifDecoder, AFileCutAnywhereGivesTheFramesThatAreWhole) {
    GifBuilder builder(8, 8);
    builder.Application("NETSCAPE2.0", {1, 0, 0}).Extension(0xFE, {{'c'}});
    std::vector<std::size_t> ends;
    const Bytes indices = Ramp(64);
    for (int frame = 0; frame < 3; ++frame) {
        builder.Control(5, 1, true, 3)
            .Image(
                0, 0, 8, 8, indices, frame == 1,
                frame == 2 ? std::vector<std::uint32_t>{1, 2, 3, 4} : std::vector<std::uint32_t>{});
        ends.push_back(builder.bytes.size());
    }
    builder.Trailer();
    for (std::size_t length = 0; length <= builder.bytes.size(); ++length) {
        std::size_t whole = 0;
        while (whole < ends.size() && ends[whole] <= length) ++whole;
        ComPtr<IWICBitmapDecoder> gif;
        const HRESULT hr =
            OpenGif(Bytes(builder.bytes.begin(),
                          builder.bytes.begin() + static_cast<std::ptrdiff_t>(length)),
                    gif);
        EXPECT_EQ(static_cast<bool>(gif), SUCCEEDED(hr));
        EXPECT_TRUE(whole == 0 || hr == S_OK) << length;
        if (FAILED(hr)) continue;
        const UINT count = CountOf(gif.Get());
        EXPECT_LE(count, whole + 1) << length;
        for (UINT index = 0; index < count; ++index) {
            ComPtr<IWICBitmapFrameDecode> frame;
            EXPECT_EQ(SUCCEEDED(gif->GetFrame(index, frame.Put())), index < whole)
                << length << " frame " << index;
            EXPECT_TRUE(!frame || IndicesOf(frame.Get()) == indices)
                << length << " frame " << index;
        }
    }
}

TEST(GifDecoder, FramesOfOtherProgramsLookAsTheyDecodeThem) {
    const TempFolder folder;
    folder.Run("ffmpeg -v error -f lavfi -i testsrc=s=101x67:r=5:d=1 -gifflags 0 plain.gif");
    folder.Run("gifsicle --unoptimize --interlace plain.gif -o interlaced.gif");
    folder.Run("gifsicle --unoptimize --colors 7 --loopcount=3 plain.gif -o few.gif");
    for (const char* name : {"plain.gif", "interlaced.gif", "few.gif"}) {
        SCOPED_TRACE(name);
        const auto gif = OpenedGif(ReadBytes(folder / name));
        ASSERT_TRUE(gif);
        ASSERT_EQ(CountOf(gif.Get()), 5u);
        const auto expected = DecodeWithFfmpeg(folder, name);
        ASSERT_EQ(expected.size(), 5u * 101 * 67);
        for (UINT n = 0; n < 5; ++n) {
            const auto pixels = PixelsOf(FrameOf(gif.Get(), n).Get());
            EXPECT_TRUE(std::equal(pixels.begin(), pixels.end(), expected.begin() + n * 101 * 67))
                << n;
        }
    }
}

// Compresses 8-bit indices and never clears the table, which is full after some 4000 codes and then
// is used as it is.
Bytes CompressWithoutClearing(const Bytes& indices) {
    std::map<std::pair<unsigned, unsigned>, unsigned> codes;
    Bytes result;
    unsigned next = 258;
    unsigned bits = 9;
    std::uint32_t pending = 0;
    unsigned filled = 0;
    const auto put = [&](unsigned code) {
        pending |= code << filled;
        for (filled += bits; filled >= 8; filled -= 8, pending >>= 8)
            result.push_back(static_cast<std::uint8_t>(pending));
    };
    put(256);
    unsigned string = indices[0];
    for (std::size_t i = 1; i < indices.size(); ++i) {
        const auto known = codes.find({string, indices[i]});
        if (known != codes.end()) {
            string = known->second;
            continue;
        }
        put(string);
        if (next < 4096) {
            codes[{string, indices[i]}] = next++;
            if (next > 1u << bits && bits < 12) ++bits;
        }
        string = indices[i];
    }
    put(string);
    put(257);
    if (filled > 0) result.push_back(static_cast<std::uint8_t>(pending));
    return result;
}

TEST(GifDecoder, ACodeTableThatIsFullAndNotClearedIsUsedAsItIs) {
    constexpr unsigned width = 320;
    constexpr unsigned height = 240;
    Bytes indices;
    for (unsigned i = 0; i < width * height; ++i)
        indices.push_back(static_cast<std::uint8_t>(i % 7 == 0 ? i * i >> 5 : i / 40));
    GifBuilder::Palette palette;
    for (unsigned i = 0; i < 256; ++i) palette.push_back(i * 0x010203);
    GifBuilder builder(width, height, palette);
    builder.Raw({',', 0, 0, 0, 0, width & 255, width >> 8, height, 0, 0, 8});
    const Bytes packed = CompressWithoutClearing(indices);
    ASSERT_GT(packed.size(), 2u * 4096);  // far more codes than the table has
    for (std::size_t at = 0; at < packed.size(); at += 200) {
        const std::size_t size = std::min<std::size_t>(200, packed.size() - at);
        builder.Raw({static_cast<std::uint8_t>(size)});
        builder.Raw(Bytes(&packed[at], &packed[at] + size));
    }
    builder.Raw({0}).Trailer();
    const TempFolder folder;
    folder.Write("full.gif", builder.bytes);
    const auto pixels = PixelsOf(FrameOf(OpenedGif(builder.bytes).Get(), 0).Get());
    ASSERT_EQ(pixels.size(), indices.size());
    EXPECT_TRUE(pixels == DecodeWithFfmpeg(folder, "full.gif"));
    EXPECT_EQ(pixels[5000], 0xFF000000 | palette[indices[5000]]);
}

TEST(GifDecoder, SizesThatDoNotFitAreRefused) {
    ComPtr<IWICBitmapDecoder> gif;
    EXPECT_EQ(OpenGif(GifBuilder(16385, 16384).Image(0, 0, 1, 1, {1}).Trailer().bytes, gif),
              WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
    EXPECT_EQ(OpenGif(GifBuilder(16384, 16384).Image(0, 0, 1, 1, {1}).Trailer().bytes, gif), S_OK);
    EXPECT_EQ(OpenGif(GifBuilder(1, 1).Image(0, 0, 16385, 16384, {1}).Trailer().bytes, gif),
              WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
    EXPECT_EQ(OpenGif(GifBuilder(8, 8).Trailer().bytes, gif), WINCODEC_ERR_BADIMAGE);
}

// Frames with next to no data, whose decoded sizes decide.
TEST(GifDecoder, TheFramesOfAGifMayTakeHalfOfTheFreeMemory) {
    TakeLog();
    ComPtr<IWICBitmapDecoder> gif;
    GifBuilder builder(1920, 1080);
    for (int frame = 0; frame < 70; ++frame) builder.Image(0, 0, 1920, 1080, {1});
    ASSERT_GT(FreeMemory(), std::uint64_t{70} * 1920 * 1080 * 8) << "too little memory to test";
    EXPECT_EQ(OpenGif(builder.bytes, gif), S_OK);
    EXPECT_THAT(TakeErrors(), testing::IsEmpty());
    const std::uint64_t too_many = FreeMemory() / 2 / (std::uint64_t{16384} * 16384 * 4) + 2;
    for (std::uint64_t frame = 0; frame < too_many; ++frame) builder.Image(0, 0, 16384, 16384, {1});
    EXPECT_EQ(OpenGif(builder.bytes, gif), E_OUTOFMEMORY);
    EXPECT_FALSE(gif);
    EXPECT_THAT(TakeErrors(),
                ElementsAre(testing::MatchesRegex("GIF - [0-9]+ frames take [0-9]+ MiB, more than "
                                                  "half of the [0-9]+ MiB that are free")));
}

}  // namespace
}  // namespace Vimbrel::test

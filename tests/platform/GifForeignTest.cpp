// GIFs of other programs read here, and ours read by them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "tests/platform/GifTestKit.h"

namespace Vimbrel::Test {
namespace {

using ::testing::HasSubstr;

std::vector<std::uint32_t> DecodeWithFfmpeg(const std::string& path) {
    const TemporaryFile raw;
    const CommandResult result =
        RunCommand("ffmpeg -v warning -y -i " + path + " -fps_mode passthrough -f rawvideo -pix_fmt bgra " + raw.Path());
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "") << "no warnings";
    const Bytes bytes = raw.Read();
    std::vector<std::uint32_t> pixels(bytes.size() / 4);
    std::memcpy(pixels.data(), bytes.data(), pixels.size() * 4);
    return pixels;
}

TEST(GifForeign, FramesOfOtherProgramsLookAsTheyDecodeThem) {
    const struct {
        const char* what;
        std::string change;
    } cases[] = {
        {"ffmpeg", ""},
        {"gifsicle, interlaced", "gifsicle --unoptimize --interlace"},
        {"gifsicle, few colours", "gifsicle --unoptimize --colors 7 --loopcount=3"},
    };
    const TemporaryFile original;
    ASSERT_EQ(RunCommand("ffmpeg -v error -y -f lavfi -i testsrc=s=101x67:r=5:d=1 -gifflags 0 -f gif " + original.Path()).status, 0);
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        const TemporaryFile changed(original.Read());
        if (!each.change.empty()) {
            ASSERT_EQ(RunCommand(each.change + " " + original.Path() + " -o " + changed.Path()).status, 0);
        }
        const auto gif = OpenedGif(changed.Read());
        ASSERT_TRUE(gif);
        UINT count = 0;
        gif->GetFrameCount(&count);
        ASSERT_EQ(count, 5u);
        const auto expected = DecodeWithFfmpeg(changed.Path());
        ASSERT_EQ(expected.size(), 5u * 101 * 67);
        for (UINT n = 0; n < count; ++n) {
            const auto pixels = PixelsOf(FrameOf(gif.Get(), n).Get());
            EXPECT_TRUE(std::equal(pixels.begin(), pixels.end(), expected.begin() + n * 101 * 67)) << n;
        }
    }
}

TEST(GifForeign, OurFilesAreGoodForOthers) {
    const TemporaryFile file;
    std::vector<std::uint32_t> ours;
    {
        const auto factory = Factory();
        ComPtr<IWICStream> stream;
        ComPtr<IWICBitmapEncoder> encoder;
        ASSERT_EQ(factory->CreateStream(stream.Put()), S_OK);
        ASSERT_EQ(stream->InitializeFromFilename(file.WidePath().c_str(), GENERIC_WRITE), S_OK);
        ASSERT_EQ(factory->CreateEncoder(GUID_ContainerFormatGif, nullptr, encoder.Put()), S_OK);
        ASSERT_EQ(encoder->Initialize(stream.Get(), WICBitmapEncoderNoCache), S_OK);
        UCHAR name[] = "NETSCAPE2.0";
        UCHAR loop[] = {3, 1, 0, 0, 0};
        char comment[] = "a comment of ours";
        PROPVARIANT value{};
        ComPtr<IWICMetadataQueryWriter> writer;
        ASSERT_EQ(encoder->GetMetadataQueryWriter(writer.Put()), S_OK);
        value.vt = VT_VECTOR | VT_UI1;
        value.caub = {11, name};
        EXPECT_EQ(writer->SetMetadataByName(L"/appext/Application", &value), S_OK);
        value.caub = {5, loop};
        EXPECT_EQ(writer->SetMetadataByName(L"/appext/Data", &value), S_OK);
        value.vt = VT_LPSTR;
        value.pszVal = comment;
        EXPECT_EQ(writer->SetMetadataByName(L"/commentext/TextEntry", &value), S_OK);
        for (UINT n = 0; n < 6; ++n) {
            const auto bitmap = MakeBitmap(161, 90, [&](UINT x, UINT y) {
                return x < 9 && y < 9 ? 0u : 0xFF000000 | (x + n * 10) << 16 | y * 2 << 8 | ((x * y) & 0xFF);
            });
            ComPtr<IWICPalette> palette;
            ComPtr<IWICFormatConverter> converter;
            ComPtr<IWICBitmapFrameEncode> frame;
            ASSERT_EQ(factory->CreatePalette(palette.Put()), S_OK);
            ASSERT_EQ(palette->InitializeFromBitmap(bitmap.Get(), 256, TRUE), S_OK);
            ASSERT_EQ(factory->CreateFormatConverter(converter.Put()), S_OK);
            ASSERT_EQ(converter->Initialize(bitmap.Get(), GUID_WICPixelFormat8bppIndexed, WICBitmapDitherTypeErrorDiffusion, palette.Get(),
                                            90.0, WICBitmapPaletteTypeFixedWebPalette),
                      S_OK);
            ASSERT_EQ(encoder->CreateNewFrame(frame.Put(), nullptr), S_OK);
            ASSERT_EQ(frame->Initialize(nullptr), S_OK);
            ASSERT_EQ(frame->WriteSource(converter.Get(), nullptr), S_OK);
            ASSERT_EQ(frame->Commit(), S_OK);
            ASSERT_EQ(frame->GetMetadataQueryWriter(writer.Put()), S_OK);
            const auto set = [&](const wchar_t* path, VARTYPE type, unsigned number) {
                PROPVARIANT item{};
                item.vt = type;
                item.uiVal = static_cast<USHORT>(number);
                EXPECT_EQ(writer->SetMetadataByName(path, &item), S_OK);
            };
            set(L"/grctlext/Delay", VT_UI2, 4);
            set(L"/grctlext/Disposal", VT_UI1, 2);
            set(L"/grctlext/TransparencyFlag", VT_BOOL, 0xFFFF);
            set(L"/grctlext/TransparentColorIndex", VT_UI1, 255);
        }
    }
    const auto gif = OpenedGif(file.Read());
    for (UINT n = 0; n < 6; ++n) {
        const auto pixels = PixelsOf(FrameOf(gif.Get(), n).Get());
        EXPECT_EQ(pixels[0], 0u);
        ours.insert(ours.end(), pixels.begin(), pixels.end());
    }
    auto theirs = DecodeWithFfmpeg(file.Path());
    ASSERT_EQ(theirs.size(), ours.size());
    for (std::uint32_t& pixel : theirs) pixel = pixel >> 24 == 0 ? 0 : pixel;
    EXPECT_TRUE(theirs == ours);

    const CommandResult sicle = RunCommand("gifsicle --warnings --info " + file.Path());
    EXPECT_EQ(sicle.status, 0);
    for (const char* text :
         {"6 images", "logical screen 161x90", "loop forever", "comment a comment of ours", "transparent 255", "delay 0.04s"})
        EXPECT_THAT(sicle.output, HasSubstr(text));
    EXPECT_THAT(sicle.output, ::testing::Not(HasSubstr("warning")));
    EXPECT_EQ(RunCommand("ffprobe -v warning -count_frames -show_entries stream=nb_read_frames,width,height,codec_name -of csv=p=0 " +
                         file.Path())
                  .output,
              "gif,161,90,6\n");
    EXPECT_THAT(RunCommand("mediainfo " + file.Path()).output, HasSubstr("161 pixels"));
}

}  // namespace
}  // namespace Vimbrel::Test

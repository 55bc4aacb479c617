#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "tests/platform/linux/wic/StillSources.h"

namespace Vimbrel::test {
namespace {

class StillDecoder : public testing::Test {
protected:
    void Make(const char* file, const char* source, const char* command) {
        folder_.Run(Fill(command, source, file));
    }
    std::size_t Find(const Bytes& bytes, const std::string& text, std::size_t from = 0) {
        const Bytes wanted(text.begin(), text.end());
        const auto at = std::search(bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.end(),
                                    wanted.begin(), wanted.end());
        EXPECT_NE(at, bytes.end()) << text;
        return static_cast<std::size_t>(at - bytes.begin());
    }
    HRESULT Open(const Bytes& bytes) {
        folder_.Write("changed", bytes);
        return OpenStill(folder_ / "changed");
    }

    const TempFolder& folder_ = StillSources::Get().Folder();
};

TEST_F(StillDecoder, RefusesWhatIsNoStill) {
    folder_.Write("text.png", std::string("BMW is not a picture"));
    folder_.Write("empty.jpg", std::string());
    folder_.Run("ffmpeg -v error -y -f lavfi -i testsrc=d=0.2 -pix_fmt yuv420p video.mp4");
    folder_.Run("ffmpeg -v error -y -f lavfi -i sine=d=0.2 sound.wav");
    for (const char* name : {"text.png", "empty.jpg", "video.mp4", "sound.wav"}) {
        EXPECT_EQ(OpenStill(folder_ / name), WINCODEC_ERR_COMPONENTNOTFOUND) << name;
    }
    EXPECT_EQ(OpenStill("/tmp"), E_ACCESSDENIED);
    EXPECT_EQ(OpenStill(folder_ / "none.png"), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
}

TEST_F(StillDecoder, CountsThePagesOfATiff) {
    folder_.Run("/usr/bin/convert -size 8x8 xc:red xc:green xc:blue pages.tif");
    ComPtr<IWICBitmapDecoder> decoder;
    ASSERT_EQ(CreateStillDecoder(folder_ / "pages.tif", decoder.Put()), S_OK);
    UINT count = 0;
    EXPECT_EQ(decoder->GetFrameCount(&count), S_OK);
    EXPECT_EQ(count, 3u);
    ComPtr<IWICBitmapFrameDecode> frame;
    ASSERT_EQ(decoder->GetFrame(0, frame.Put()), S_OK);
    const Bytes pixels = CopyAll(frame.Get());
    ASSERT_EQ(pixels.size(), 256u);
    EXPECT_EQ((Bytes{pixels.begin(), pixels.begin() + 4}), (Bytes{0, 0, 255, 255}));
}

// All of the file is there, but not all of the picture.
TEST_F(StillDecoder, RefusesPixelsThatEndEarlyOrAreDamaged) {
    for (const std::string interlace : {"", "-flags +ildct"}) {
        SCOPED_TRACE(interlace);
        folder_.Run(
            "ffmpeg -v error -y -f lavfi -i color=gray:s=96x96,noise=alls=90,format=rgb24 "
            "-frames:v 1 " +
            interlace + " parts.png");
        Bytes png = ReadBytes(folder_ / "parts.png");
        // Without the last of several chunks of data.
        std::vector<std::size_t> chunks;
        for (std::size_t at = Find(png, "IDAT"); at < png.size();
             at += 12 + (std::size_t{png[at - 3]} << 16 | png[at - 2] << 8 | png[at - 1])) {
            if (std::memcmp(png.data() + at, "IDAT", 4) != 0) break;
            chunks.push_back(at - 4);
        }
        ASSERT_GT(chunks.size(), 1u);
        const std::size_t end = Find(png, "IEND") - 4;
        png.erase(png.begin() + static_cast<std::ptrdiff_t>(chunks.back()),
                  png.begin() + static_cast<std::ptrdiff_t>(end));
        EXPECT_EQ(Open(png), WINCODEC_ERR_BADIMAGE);
    }

    Make("cut.jpg", "smooth", "IM -alpha off -quality 95 OUT");
    Bytes jpeg = ReadBytes(folder_ / "cut.jpg");
    jpeg.erase(jpeg.end() - 200, jpeg.end() - 2);
    EXPECT_EQ(Open(jpeg), WINCODEC_ERR_BADIMAGE);

    Make("strips.tif", "solid", "IM -alpha off -compress none OUT");
    Bytes tiff = ReadBytes(folder_ / "strips.tif");
    const std::size_t counts =
        Find(tiff, std::string("\x17\x01\x04\0\x01\0\0\0", 8));  // StripByteCounts, one number
    tiff[counts + 8] = static_cast<std::uint8_t>(tiff[counts + 8] - 1);
    EXPECT_EQ(Open(tiff), WINCODEC_ERR_BADIMAGE);

    Make("flip.png", "any", "IM PNG32:OUT");
    Bytes flipped = ReadBytes(folder_ / "flip.png");
    flipped[Find(flipped, "IDAT") + 40] ^= 4;
    EXPECT_EQ(Open(flipped), WINCODEC_ERR_BADIMAGE) << "a wrong checksum";
}

TEST_F(StillDecoder, TakesALastRowOfZeros) {
    for (const char* options : {"xc:black", "xc:none", "xc:black -interlace PNG",
                                "xc:white -fill red -transparent white -type TrueColor"}) {
        folder_.Run(std::string("/usr/bin/convert -size 9x7 ") + options + " zeros.png");
        EXPECT_EQ(OpenStill(folder_ / "zeros.png"), S_OK) << options;
    }
}

TEST_F(StillDecoder, RefusesTooManyPixelsFromTheHeader) {
    struct {
        const char* file;
        const char* command;
        std::string before;
        Bytes size;
    } const large[] = {
        {"large.png", "IM PNG32:OUT", "IHDR", {0, 0, 0x40, 1, 0, 0, 0x40, 0}},
        {"large.jpg",
         "IM -alpha off -sampling-factor 1x1 OUT",
         std::string("\xff\xc0\0\x11\x08", 5),
         {0x80, 0, 0x80, 0}},
        {"large.bmp",
         "IM -alpha off BMP3:OUT",
         std::string("\x28\0\0\0", 4),
         {1, 0x40, 0, 0, 0, 0x40, 0, 0}},
        {"large_top.bmp",
         "IM -alpha off BMP3:OUT",
         std::string("\x28\0\0\0", 4),
         {1, 0x40, 0, 0, 0, 0, 0, 0x80}},
    };
    for (const auto& c : large) {
        Make(c.file, "solid", c.command);
        Bytes bytes = ReadBytes(folder_ / c.file);
        std::copy(
            c.size.begin(), c.size.end(),
            bytes.begin() + static_cast<std::ptrdiff_t>(Find(bytes, c.before) + c.before.size()));
        EXPECT_EQ(Open(bytes), WINCODEC_ERR_IMAGESIZEOUTOFRANGE) << c.file;
    }
}

// Four inks in the three ways that a JPEG may hold them. The program writes them as luma and
// chroma, the maker's mark says so; the other ways are made by a choice of colours whose luma and
// chroma are the components wanted, and a change of the mark.
TEST_F(StillDecoder, KnowsTheInksOfAJpeg) {
    using Samples = std::array<int, 3>;
    const auto from_luma = [](const Samples& s) {
        const double y = s[0], cb = s[1] - 128, cr = s[2] - 128;
        return Samples{static_cast<int>(std::lround(y + 1.402 * cr)),
                       static_cast<int>(std::lround(y - 0.344136 * cb - 0.714136 * cr)),
                       static_cast<int>(std::lround(y + 1.772 * cb))};
    };
    for (const Samples& colour : {Samples{190, 120, 140}, Samples{90, 128, 128},
                                  Samples{128, 150, 110}, Samples{60, 110, 140}}) {
        for (const int black : {255, 128}) {
            for (const std::string way : {"luma", "inverted", "plain"}) {
                SCOPED_TRACE(way + " " + std::to_string(colour[0]) + " " + std::to_string(black));
                const Samples opposite = {255 - colour[0], 255 - colour[1], 255 - colour[2]};
                const Samples inks =
                    way == "luma" ? opposite : from_luma(way == "inverted" ? colour : opposite);
                Bytes raw;
                for (int i = 0; i < 16 * 16; ++i) {
                    for (const int ink : inks) raw.push_back(static_cast<std::uint8_t>(ink));
                    raw.push_back(static_cast<std::uint8_t>(way == "plain" ? black : 255 - black));
                }
                folder_.Write("inks", raw);
                folder_.Run(
                    "/usr/bin/convert -size 16x16 -depth 8 cmyk:inks -sampling-factor 1x1 -quality "
                    "100 four.jpg");
                Bytes jpeg = ReadBytes(folder_ / "four.jpg");
                const std::size_t mark = Find(jpeg, "Adobe");
                ASSERT_EQ(jpeg[mark + 11], 2);
                if (way == "inverted") jpeg[mark + 11] = 0;
                if (way == "plain") {
                    jpeg.erase(jpeg.begin() + static_cast<std::ptrdiff_t>(mark - 4),
                               jpeg.begin() + static_cast<std::ptrdiff_t>(mark + 12));
                }
                folder_.Write("four.jpg", jpeg);
                ComPtr<IWICBitmapFrameDecode> frame;
                ASSERT_EQ(OpenStill(folder_ / "four.jpg", &frame), S_OK);
                const Bytes pixels = CopyAll(frame.Get());
                ASSERT_EQ(pixels.size(), 1024u);
                for (std::size_t c = 0; c < 3; ++c)
                    EXPECT_NEAR(pixels[c], colour[2 - c] * black / 255, 5) << c;
                EXPECT_EQ(pixels[3], 255);
            }
        }
    }
}

}  // namespace
}  // namespace Vimbrel::test

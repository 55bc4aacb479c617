#include <sys/mman.h>
#include <ostream>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>

#include "tests/platform/linux/wic/StillFiles.h"

namespace Vimbrel::test {
namespace {

constexpr int width = 37;
constexpr int height = 29;

// The folder with the sources: raw RGBA that the programs read.
//   any     every pixel another, alpha too
//   solid   the same without alpha
//   grey    grey with alpha
//   few     16 colours, one of them transparent
//   half    16 colours of all opacities; half_indices are the same by palette
//   smooth  a gradient that survives loss, with black and white in it
class Sources {
public:
    static const Sources& Get() {
        static const Sources sources;
        return sources;
    }
    const TempFolder& Folder() const { return folder_; }
    const Bytes& Raw(const std::string& name) const { return raw_.at(name); }

private:
    Sources() {
        std::uint32_t state = 1;
        const auto random = [&state] {
            return static_cast<int>((state = state * 1664525 + 1013904223) >> 24);
        };
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const int r = random(), g = random(), b = random(), a = random();
                Add("any", {r, g, b, a});
                Add("solid", {r, g, b, 255});
                Add("grey", {r, r, r, a});
                const int few = r / 16;
                Add("few", {few * 16, 255 - few * 9, few * few, few == 3 ? 0 : 255});
                Add("half", {few * 16, 255 - few * 9, few * few, few * 17});
                raw_["half_indices"].push_back(static_cast<std::uint8_t>(few));
                const int up = x * 255 / (width - 1);
                const int edge = x < 18 ? 255 : 0;
                Add("smooth", y < 10 ? std::array{edge, edge, edge, 255}
                                     : std::array{up, y * 255 / (height - 1), 255 - up, 255});
            }
        }
        Bytes& palette = raw_["half_indices"];  // follows its indices, and has 256 entries
        for (int i = 0; i < 16; ++i) {
            for (const int sample : {i * i, 255 - i * 9, i * 16, i * 17})
                palette.push_back(static_cast<std::uint8_t>(sample));
        }
        palette.resize(palette.size() + 240 * 4);
        for (const auto& [name, pixels] : raw_) folder_.Write(name, pixels);
    }
    void Add(const char* name, const std::array<int, 4>& rgba) {
        for (const int sample : rgba) raw_[name].push_back(static_cast<std::uint8_t>(sample));
    }

    TempFolder folder_;
    std::map<std::string, Bytes> raw_;
};

struct StillCase {
    const char* file;
    const char* source;
    const char* command;  // IN is the source, OUT the file
    int worst;            // largest difference of a sample
    double mean;          // largest mean difference
    const GUID& container;
};

// For the names that the test runner shows.
void PrintTo(const StillCase& item, std::ostream* out) { *out << item.file; }

std::string Fill(std::string command, const StillCase& c) {
    const std::string size = std::to_string(width) + "x" + std::to_string(height);
    const auto replace = [&command](const std::string& what, const std::string& with) {
        for (std::size_t at = 0; (at = command.find(what, at)) != std::string::npos;
             at += with.size())
            command.replace(at, what.size(), with);
    };
    replace("IM", std::string("/usr/bin/convert -size ") + size + " -depth 8 rgba:" + c.source);
    replace("FF", std::string("ffmpeg -v error -y -f rawvideo -pix_fmt rgba -s ") + size + " -i " +
                      c.source);
    replace("SIZE", size);
    replace("OUT", c.file);
    return command;
}

#define PNG GUID_ContainerFormatPng
#define JPEG GUID_ContainerFormatJpeg
#define BMP GUID_ContainerFormatBmp
#define TIFF GUID_ContainerFormatTiff
#define WEBP GUID_ContainerFormatWebp

const StillCase cases[] = {
    {"rgba.png", "any", "IM PNG32:OUT", 0, 0, PNG},
    {"interlaced.png", "any", "IM -interlace PNG PNG32:OUT", 0, 0, PNG},
    {"rgb.png", "solid", "IM PNG24:OUT", 0, 0, PNG},
    {"animated.png", "any", "FF -f apng OUT", 0, 0, PNG},
    {"rgb16.png", "solid", "IM PNG48:OUT", 0, 0, PNG},
    {"rgba16.png", "any", "IM PNG64:OUT", 0, 0, PNG},
    {"gray_alpha.png", "grey", "IM -define png:color-type=4 OUT", 0, 0, PNG},
    {"gray_alpha16.png", "grey",
     "IM -depth 16 -define png:color-type=4 -define png:bit-depth=16 OUT", 0, 0, PNG},
    {"palette.png", "few", "IM PNG8:OUT", 0, 0, PNG},
    {"palette_alpha.png", "half",
     "ffmpeg -v error -y -f rawvideo -pix_fmt pal8 -s SIZE -i half_indices -pix_fmt pal8 OUT", 0, 0,
     PNG},
    {"rgba.tif", "any", "IM -compress none OUT", 0, 0, TIFF},
    {"rgba_lzw.tif", "any", "IM -compress lzw -endian MSB OUT", 0, 0, TIFF},
    {"rgba16.tif", "any", "IM -depth 16 -compress zip OUT", 0, 0, TIFF},
    {"associated.tif", "any", "IM -define tiff:alpha=associated -compress none OUT", 1, 0.5, TIFF},
    {"rgb.tif", "solid", "IM -alpha off -compress RLE OUT", 0, 0, TIFF},
    {"planar.tif", "solid", "IM -alpha off -interlace plane -compress none OUT", 0, 0, TIFF},
    {"inks.tif", "smooth", "IM -alpha off -colorspace CMYK -compress lzw OUT", 2, 1, TIFF},
    {"rgb.bmp", "solid", "IM -alpha off BMP3:OUT", 0, 0, BMP},
    {"rgba.bmp", "any", "IM OUT", 0, 0, BMP},
    {"runs.bmp", "smooth", "IM -alpha off -compress RLE -colors 256 BMP3:OUT", 60, 6, BMP},
    {"lossless.webp", "any", "IM -define webp:lossless=true -define webp:exact=true OUT", 0, 0,
     WEBP},
    {"lossy.webp", "smooth", "IM -alpha off -quality 98 OUT", 90, 4, WEBP},
    {"full.jpg", "smooth", "IM -alpha off -sampling-factor 1x1 -quality 98 OUT", 8, 1.5, JPEG},
    {"half.jpg", "smooth", "IM -alpha off -sampling-factor 2x1 -quality 98 OUT", 90, 4, JPEG},
    {"quarter.jpg", "smooth", "IM -alpha off -sampling-factor 2x2 -quality 98 OUT", 90, 4, JPEG},
    {"limited.jpg", "smooth", "FF -pix_fmt yuv444p -color_range tv -strict unofficial -q:v 1 OUT",
     16, 2.5, JPEG},
    {"progressive.jpg", "smooth",
     "IM -alpha off -interlace JPEG -sampling-factor 1x1 -quality 98 OUT", 8, 1.5, JPEG},
    {"inks.jpg", "smooth", "IM -alpha off -colorspace CMYK -sampling-factor 1x1 -quality 98 OUT",
     12, 2, JPEG},
    {"rgb.jpg", "smooth", "FF -pix_fmt gbrp -c:v ljpeg -pix_fmt bgr24 OUT", 1, 0.5, JPEG},
};

class StillCases : public testing::TestWithParam<StillCase> {
protected:
    void SetUp() override {
        folder_.Run(Fill(GetParam().command, GetParam()));
        path_ = folder_ / GetParam().file;
    }

    const TempFolder& folder_ = Sources::Get().Folder();
    std::string path_;
};

// The difference to the source, multiplied and in the order blue, green, red, alpha.
void ExpectSource(const Bytes& pixels, const Bytes& raw, int worst_allowed, double mean_allowed) {
    ASSERT_EQ(pixels.size(), raw.size());
    int worst = 0;
    double sum = 0;
    for (std::size_t i = 0; i < raw.size(); i += 4) {
        for (std::size_t c = 0; c < 4; ++c) {
            const double straight = raw[i + (c == 3 ? 3 : 2 - c)];
            const int expected = static_cast<int>(
                c == 3 ? straight : std::floor(straight * raw[i + 3] / 255.0 + 0.5));
            const int difference = std::abs(expected - pixels[i + c]);
            worst = std::max(worst, difference);
            sum += difference;
        }
    }
    EXPECT_LE(worst, worst_allowed);
    EXPECT_LE(sum / static_cast<double>(raw.size()), mean_allowed);
}

TEST_P(StillCases, ComesOutPremultiplied) {
    ComPtr<IWICBitmapDecoder> decoder;
    ASSERT_EQ(CreateStillDecoder(path_, decoder.Put()), S_OK);
    GUID container{};
    EXPECT_EQ(decoder->GetContainerFormat(&container), S_OK);
    EXPECT_TRUE(container == GetParam().container);
    UINT count = 0;
    EXPECT_EQ(decoder->GetFrameCount(&count), S_OK);
    EXPECT_EQ(count, 1u);
    ComPtr<IWICBitmapFrameDecode> frame;
    EXPECT_EQ(decoder->GetFrame(1, frame.Put()), WINCODEC_ERR_FRAMEMISSING);
    ASSERT_EQ(decoder->GetFrame(0, frame.Put()), S_OK);
    WICPixelFormatGUID format{};
    EXPECT_EQ(frame->GetPixelFormat(&format), S_OK);
    EXPECT_TRUE(format == GUID_WICPixelFormat32bppPBGRA);
    const Bytes pixels = CopyAll(frame.Get());
    ExpectSource(pixels, Sources::Get().Raw(GetParam().source), GetParam().worst, GetParam().mean);
    // Once more, after the file is given up.
    ComPtr<IWICBitmapFrameDecode> again;
    ASSERT_EQ(decoder->GetFrame(0, again.Put()), S_OK);
    EXPECT_EQ(CopyAll(again.Get()), pixels);
}

// Opens from memory, so that thousands of lengths are quick.
TEST_P(StillCases, FailsWhereverItIsCut) {
    const Bytes bytes = ReadBytes(path_);
    ASSERT_GT(bytes.size(), 0u);
    const int file = memfd_create("still", 0);
    ASSERT_GE(file, 0);
    ASSERT_EQ(write(file, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    const std::string path = "/proc/self/fd/" + std::to_string(file);
    EXPECT_EQ(OpenStill(path), S_OK);
    testing::internal::CaptureStderr();
    for (std::size_t size = bytes.size(); size-- > 0;) {
        if (size > 600 && size + 300 < bytes.size() && size % 3 != 0) continue;
        ASSERT_EQ(ftruncate(file, static_cast<off_t>(size)), 0);
        ASSERT_TRUE(FAILED(OpenStill(path))) << "cut to " << size << " of " << bytes.size();
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    close(file);
}

INSTANTIATE_TEST_SUITE_P(StillDecoder, StillCases, testing::ValuesIn(cases), [](const auto& test) {
    std::string name = test.param.file;
    std::replace(name.begin(), name.end(), '.', '_');
    return name;
});

class StillDecoder : public testing::Test {
protected:
    void Make(const char* file, const char* source, const char* command) {
        const StillCase c{file, source, "", 0, 0, GUID_ContainerFormatPng};
        folder_.Run(Fill(command, c));
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

    const TempFolder& folder_ = Sources::Get().Folder();
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

// Strong colours that change from pixel to pixel, at odd and even sizes, beside libjpeg and
// libwebp. WebP's decoding is exact; JPEG's inverse transform may differ by one in each of Y, Cb
// and Cr.
TEST(StillChroma, IsInterpolatedAsByTheReferenceDecoders) {
    const struct {
        const char* name;
        const char* options;
        int worst;
        double mean;
    } files[] = {
        {"420.webp", "-quality 95", 0, 0},
        {"420.jpg", "-quality 95 -sampling-factor 2x2", 5, 0.5},
        {"422.jpg", "-quality 95 -sampling-factor 2x1", 5, 0.5},
        {"440.jpg", "-quality 95 -sampling-factor 1x2", 5, 0.5},
    };
    const TempFolder folder;
    for (const auto& file : files) {
        for (const char* size : {"64x48", "67x41"}) {
            SCOPED_TRACE(std::string(file.name) + " " + size);
            folder.Run(std::string("/usr/bin/convert -size ") + size +
                       " -seed 5 plasma:red-blue -spread 3 -modulate 100,300 -alpha off " +
                       file.options + " " + file.name);
            folder.Run(std::string("/usr/bin/convert ") + file.name +
                       " -alpha set -depth 8 bgra:expected");
            ComPtr<IWICBitmapFrameDecode> frame;
            ASSERT_EQ(OpenStill(folder / file.name, &frame), S_OK);
            const Bytes pixels = CopyAll(frame.Get());
            const Bytes expected = ReadBytes(folder / "expected");
            ASSERT_EQ(pixels.size(), expected.size());
            int worst = 0;
            double sum = 0;
            for (std::size_t i = 0; i < pixels.size(); ++i) {
                const int by = std::abs(pixels[i] - expected[i]);
                worst = std::max(worst, by);
                sum += by;
            }
            EXPECT_LE(worst, file.worst);
            EXPECT_LE(sum / static_cast<double>(pixels.size()), file.mean);
        }
    }
}

}  // namespace
}  // namespace Vimbrel::test

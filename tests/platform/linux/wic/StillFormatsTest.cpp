#include <sys/mman.h>
#include <ostream>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "tests/platform/linux/wic/StillSources.h"

namespace Vimbrel::test {
namespace {

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
        folder_.Run(Fill(GetParam().command, GetParam().source, GetParam().file));
        path_ = folder_ / GetParam().file;
    }

    const TempFolder& folder_ = StillSources::Get().Folder();
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
    ExpectSource(pixels, StillSources::Get().Raw(GetParam().source), GetParam().worst,
                 GetParam().mean);
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

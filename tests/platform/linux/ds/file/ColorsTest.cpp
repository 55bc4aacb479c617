// Colours and shapes of decoded pictures, against ffmpeg's own conversion.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/MediaFiles.h"
#include "vimbrel/DSGetVideoFrame.h"

namespace Vimbrel::test {
namespace {

struct Kind {
    const char* name;
    const char* size;
    const char* encoding;  // of ffmpeg
    const char* matrix;    // of the comparison
    const char* filter = "null";
};

void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }

struct Shown {
    int width = 0;
    int height = 0;
    Bytes pixels;
};

Shown FirstPicture(const std::filesystem::path& file) {
    Shown shown;
    DSGetVideoFrame(file.wstring().c_str(), 0, &shown,
                    [](unsigned char* pixels, int width, int height, int stride, void* user) {
                        auto& target = *static_cast<Shown*>(user);
                        if (!target.pixels.empty()) return;
                        target.width = width;
                        target.height = height;
                        for (int y = 0; y < height; ++y)
                            target.pixels.insert(target.pixels.end(), pixels + y * stride,
                                                 pixels + y * stride + width * 4);
                    });
    return shown;
}

double PeakRatio(const Bytes& a, const Bytes& b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const double difference = i % 4 == 3 ? 0 : static_cast<double>(a[i]) - b[i];
        sum += difference * difference;
    }
    return sum == 0 ? 100
                    : 10 * std::log10(255.0 * 255.0 * 0.75 * static_cast<double>(a.size()) / sum);
}

class Colors : public testing::TestWithParam<Kind> {};

TEST_P(Colors, AreThoseOfTheStream) {
    const Kind& kind = GetParam();
    const TempFolder folder;
    folder.Run(std::string("ffmpeg -nostdin -loglevel error -f lavfi -i testsrc2=s=") + kind.size +
               ":d=0.2 " + kind.encoding + " -threads 1 made.mkv");
    // The matrix and the range are told, because ffmpeg takes what is not marked for BT.601.
    folder.Run(std::string("ffmpeg -nostdin -loglevel error -i made.mkv -frames:v 1 -vf \"scale=") +
               "in_color_matrix=" + kind.matrix + ",format=bgra," + kind.filter +
               "\" -pix_fmt bgra -f rawvideo expected.raw");
    const Bytes expected = ReadBytes(folder / "expected.raw");
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    const Shown shown = FirstPicture(folder / "made.mkv");
    CoUninitialize();
    ASSERT_EQ(shown.pixels.size(), expected.size());
    EXPECT_GE(PeakRatio(shown.pixels, expected), 40.0);
    for (std::size_t i = 3; i < shown.pixels.size(); i += 4) ASSERT_EQ(shown.pixels[i], 255);
}

#define X264 "-c:v libx264 -qp 1 "
#define FFV1 "-c:v ffv1 "
INSTANTIATE_TEST_SUITE_P(
    Kinds, Colors,
    testing::Values(
        Kind{"Unmarked", "320x240", X264 "-pix_fmt yuv420p", "bt601"},
        Kind{"UnmarkedHigh", "1280x720", X264 "-pix_fmt yuv420p", "bt709"},
        Kind{"Bt709", "320x240", X264 "-pix_fmt yuv420p -colorspace bt709", "bt709"},
        Kind{"Bt2020", "320x240", X264 "-pix_fmt yuv420p10le -colorspace bt2020nc", "bt2020"},
        Kind{"FullRange", "320x240",
             "-vf scale=out_range=full " X264 "-pix_fmt yuvj420p -color_range pc", "bt601"},
        Kind{"Odd", "641x361", FFV1 "-pix_fmt yuv420p", "bt601"},
        Kind{"NoWholeBlock", "98x64", X264 "-pix_fmt yuv420p -colorspace bt709", "bt709"},
        Kind{"Narrow", "6x4", FFV1 "-pix_fmt yuv420p -colorspace bt709", "bt709"},
        Kind{"TenBit422", "320x240", FFV1 "-pix_fmt yuv422p10le", "bt601"},
        Kind{"Full444", "320x240", X264 "-pix_fmt yuv444p", "bt601"},
        Kind{"Rgb", "320x240", FFV1 "-pix_fmt bgr0", "bt601"},
        Kind{"Interlaced", "320x240", X264 "-flags +ilme+ildct -pix_fmt yuv420p", "bt601"}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(Rotation, TurnsPicturesTheWayTheyAreShown) {
    const TempFolder folder;
    folder.Run("ffmpeg -nostdin -loglevel error -f lavfi -i testsrc2=s=320x200:d=0.2 " X264
               "-pix_fmt yuv420p -threads 1 flat.mp4");
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    for (const int degrees : {90, 180, 270}) {
        const std::string angle = std::to_string(degrees);
        folder.Run("ffmpeg -y -nostdin -loglevel error -i flat.mp4 -metadata:s:v:0 rotate=" +
                   angle + " -c copy turned.mp4");
        folder.Run(
            "ffmpeg -y -nostdin -loglevel error -i turned.mp4 -frames:v 1 -pix_fmt bgra "
            "-f rawvideo expected.raw");
        const Shown shown = FirstPicture(folder / "turned.mp4");
        EXPECT_EQ(shown.width, degrees == 180 ? 320 : 200) << degrees;
        const Bytes expected = ReadBytes(folder / "expected.raw");
        ASSERT_EQ(shown.pixels.size(), expected.size()) << degrees;
        EXPECT_GE(PeakRatio(shown.pixels, expected), 30.0) << degrees;
    }
    CoUninitialize();
}

}  // namespace
}  // namespace Vimbrel::test

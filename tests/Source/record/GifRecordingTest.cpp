// From frames to a file and back, with the system's own imaging component.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "Source/record/MediaTranscodeGIF.h"
#include "tests/fakes/CapturingLog.h"
#include "tests/support/Imaging.h"
#include "tests/support/TempFolder.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/Wine.h"
#include "vimbrel/MediaSourcePicture.h"

namespace Vimbrel::test {
namespace {

constexpr unsigned width = 96;
constexpr unsigned height = 64;

// A moving white square on a gradient. With `holes` the corners are transparent.
std::vector<unsigned char> Picture(int step, bool holes) {
    std::vector<unsigned char> pixels(std::size_t{width} * height * 4);
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            unsigned char* pixel = pixels.data() + (std::size_t{y} * width + x) * 4;
            const bool square = x / 8 == static_cast<unsigned>(step) && y / 8 == 3;
            pixel[0] = square ? 255 : static_cast<unsigned char>(x * 2);
            pixel[1] = square ? 255 : static_cast<unsigned char>(y * 3);
            pixel[2] = square ? 255 : 40;
            pixel[3] = 255;
            if (holes && (x < 8 || x >= width - 8) && (y < 8 || y >= height - 8))
                std::fill(pixel, pixel + 4, static_cast<unsigned char>(0));
        }
    }
    return pixels;
}

void Record(MediaTranscodeGIF& recorder, const std::filesystem::path& file, int frames,
            bool holes) {
    recorder.SetVideoOutputFormat(static_cast<int>(width), static_cast<int>(height));
    recorder.SetVideoFps(10, 1);
    recorder.SetVideoFpsAsVideo(true);
    recorder.Create(file.wstring());
    ASSERT_TRUE(recorder.Start());
    for (int step = 0; step < frames; ++step) {
        auto pixels = Picture(step, holes);
        recorder.SetVideoSample(pixels.data(), width, height, width * 4, 0, 0);
        const auto done = [&] {
            const auto statistics = GetTranscodeStatistics(recorder);
            return statistics.videoWritten + statistics.videoDropped > static_cast<unsigned>(step);
        };
        WaitUntil(done);
    }
    recorder.Stop();
    recorder.Cleanup();
}

class GifRecordingTest : public testing::TestWithParam<bool> {
protected:
    GifRecordingTest() { TakeLog(); }

    Imaging imaging;
    TempFolder folder;
};

TEST_P(GifRecordingTest, WhatIsRecordedIsReadBack) {
    const bool holes = GetParam();
    MediaTranscodeGIF recorder;
    Record(recorder, folder / "out.gif", 6, holes);
    if (RunsUnderWine()) {
        // Wine's GIF encoder has no metadata writer: the line is logged for each frame, and nothing
        // worse happens.
        EXPECT_THAT(TakeErrors(), testing::ElementsAreArray(std::vector<std::string>(
                                      6, "GIF - GetMetadataQueryWriter failed - 0x80004001")));
        EXPECT_EQ(GetTranscodeStatistics(recorder).videoDropped, 6u);
        return;
    }
    EXPECT_THAT(TakeErrors(), testing::IsEmpty());
    EXPECT_EQ(GetTranscodeStatistics(recorder).videoWritten, 6u);

    MediaSourcePicture source;
    source.SetWicImagingFactory(imaging.factory.Get());
    source.SetFileName((folder / "out.gif").wstring().c_str());
    ASSERT_TRUE(source.Open());
    EXPECT_EQ(source.GetMediaInfo().width, static_cast<int>(width));
    EXPECT_EQ(source.GetMediaInfo().height, static_cast<int>(height));
    ASSERT_EQ(source.GetDecodedFrameCount(), 6);
    EXPECT_EQ(source.GetGif()->totalDelay, 600u);
    for (int step = 0; step < 6; ++step) {
        const auto& frame = *source.GetFrame(step);
        ASSERT_EQ(frame.width, width);
        ASSERT_EQ(frame.height, height);
        EXPECT_EQ(frame.transparent, holes);
        const auto expected = Picture(step, holes);
        double error = 0;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            if (i % 4 == 3) {
                ASSERT_EQ(frame.pixels[i], expected[i])
                    << "alpha of pixel " << i / 4 << " in frame " << step;
            } else {
                error += std::pow(frame.pixels[i] - expected[i], 2);
            }
        }
        EXPECT_LT(std::sqrt(error / (width * height * 3.0)), 8.0) << "frame " << step;
    }
}

INSTANTIATE_TEST_SUITE_P(Transparency, GifRecordingTest, testing::Bool(), [](const auto& test) {
    return test.param ? "TransparentCorners" : "Opaque";
});

}  // namespace
}  // namespace Vimbrel::test

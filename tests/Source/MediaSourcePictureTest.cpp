// Runs on both systems, each with its own imaging components. What they do differently is said
// where it shows.
#include "vimbrel/MediaSourcePicture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/fakes/CapturingLog.h"
#include "tests/fakes/ManualClock.h"
#include "tests/fakes/RecordingDispatcher.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/BmpBytes.h"
#include "tests/support/GifBuilder.h"
#include "tests/support/Imaging.h"
#include "tests/support/TempFolder.h"

namespace Vimbrel::test {
namespace {

using State = MediaSource::State;
using testing::ElementsAre;

class MediaSourcePictureTest : public testing::Test {
protected:
    MediaSourcePictureTest() {
        source.SetWicImagingFactory(imaging.factory.Get());
        source.SetDispatcher(&dispatcher);
        TakeLog();
    }

    void Name(const std::filesystem::path& file) { source.SetFileName(file.wstring().c_str()); }

    // A file that is red, with one green pixel at (1, 0).
    std::filesystem::path Bmp(int width, int height) {
        return folder.Write("picture.bmp", MakeBmp(width, height, [](int x, int y) {
                                return x == 1 && y == 0 ? 0x00FF00u : 0xFF0000u;
                            }));
    }

    Imaging imaging;
    ManualClock clock;
    ScopedClock scoped_clock{clock};
    TempFolder folder;
    RecordingDispatcher dispatcher;
    MediaSourcePicture source;
};

TEST_F(MediaSourcePictureTest, OpensAStillAtNaturalSize) {
    EXPECT_EQ(source.GetPixels(), nullptr);
    Name(Bmp(100, 50));
    ASSERT_TRUE(source.Open());
    EXPECT_EQ(source.GetMediaInfo().width, 100);
    EXPECT_EQ(source.GetMediaInfo().height, 50);
    EXPECT_EQ(source.GetMediaInfo().duration, 5000.0);
    EXPECT_THAT(dispatcher.States(), ElementsAre(State::Opened));
    const unsigned char* pixels = source.GetPixels();
    EXPECT_EQ(std::vector(pixels, pixels + 12),
              (std::vector<unsigned char>{0, 0, 255, 255, 0, 255, 0, 255, 0, 0, 255, 255}));
    EXPECT_EQ(std::vector(pixels + 49 * 400 + 396, pixels + 50 * 400),
              (std::vector<unsigned char>{0, 0, 255, 255}));
}

TEST_F(MediaSourcePictureTest, FitsAStillIntoTheBoxAndNeverEnlarges) {
    const struct {
        int width, height;
        long box_width, box_height;
        int expected_width, expected_height;
    } cases[] = {
        {400, 200, 100, 100, 100, 50}, {50, 50, 100, 100, 50, 50}, {100, 100, 50, 200, 50, 50},
        {30, 90, 100, 60, 20, 60},     {101, 51, 50, 50, 50, 26},  {400, 200, 0, 10, 400, 200},
        {400, 200, 10, -1, 400, 200},  {300, 2, 30, 30, 30, 1},
    };
    for (const auto& item : cases) {
        Name(Bmp(item.width, item.height));
        ASSERT_TRUE(source.Open(1000, item.box_width, item.box_height))
            << item.width << "x" << item.height;
        EXPECT_EQ(source.GetMediaInfo().width, item.expected_width)
            << item.width << "x" << item.height;
        EXPECT_EQ(source.GetMediaInfo().height, item.expected_height)
            << item.width << "x" << item.height;
        EXPECT_EQ(source.GetMediaInfo().duration, 1000.0);
        // Somewhere far from the green pixel.
        const auto* last =
            source.GetPixels() +
            (static_cast<std::size_t>(item.expected_width) * item.expected_height - 1) * 4;
        EXPECT_EQ(std::vector(last, last + 4), (std::vector<unsigned char>{0, 0, 255, 255}));
    }
}

TEST_F(MediaSourcePictureTest, AFailedOpenTellsTheCauseAndChangesNothing) {
    Name(Bmp(10, 10));
    ASSERT_TRUE(source.Open());
    const unsigned char* before = source.GetPixels();
    source.Close();
    dispatcher.changes.clear();

    const std::string text = "This is a text and no picture at all, whatever its name says.\n";
    const struct {
        std::filesystem::path file;
        const char* message;
    } cases[] = {
        {folder / "missing.png", "Photo - CreateDecoderFromFilename failed - 0x80070002"},
        {folder.Write("text.png", text), "Photo - CreateDecoderFromFilename failed - 0x88982F50"},
        {folder.Write("empty.png", std::string()), "Photo - CreateDecoderFromFilename failed - 0x"},
        {folder.path, "Photo - CreateDecoderFromFilename failed - 0x"},
        {folder.Write("zero.gif", GifBuilder(0, 0).Image(0, 0, 1, 1, {0}).Trailer().bytes),
         "Invalid GIF file?"},
    };
    for (const auto& item : cases) {
        Name(item.file);
        EXPECT_FALSE(source.Open()) << item.file;
        EXPECT_THAT(TakeErrors(), ElementsAre(testing::StartsWith(item.message))) << item.file;
        EXPECT_EQ(source.GetState(), State::Closed);
        EXPECT_EQ(source.GetPixels(), before);
        EXPECT_EQ(source.GetGif(), nullptr);
        EXPECT_EQ(source.GetMediaInfo().width, 10);
    }
    EXPECT_TRUE(dispatcher.changes.empty());
}

TEST_F(MediaSourcePictureTest, ARequestAllocatesNothing) {
    Name(Bmp(64, 36));
    ASSERT_TRUE(source.Open());
    source.Play();
    dispatcher.video.reserve(200);
    source.RequestSample();
    const std::uint64_t before = AllocationCount();
    for (int i = 0; i < 100; ++i) source.RequestSample();
    EXPECT_EQ(AllocationCount(), before);
    EXPECT_EQ(dispatcher.video.size(), 101u);
    EXPECT_NE(before, 0u) << "the counter works";
}

TEST_F(MediaSourcePictureTest, AStillGivesItsBufferUntilItsTimeIsUp) {
    Name(Bmp(4, 2));
    ASSERT_TRUE(source.Open(1000, 0, 0));
    source.RequestSample();
    EXPECT_TRUE(dispatcher.video.empty()) << "nothing before Play";
    clock.Advance(700);
    EXPECT_TRUE(source.Play());
    for (const int step : {0, 400, 599}) {
        clock.Advance(step);
        source.RequestSample();
    }
    auto* pixels = const_cast<unsigned char*>(source.GetPixels());
    EXPECT_THAT(dispatcher.video,
                ElementsAre(RecordingDispatcher::Video{&source, pixels, 4, 2, 16, 0, 0},
                            RecordingDispatcher::Video{&source, pixels, 4, 2, 16, 4'000'000, 0},
                            RecordingDispatcher::Video{&source, pixels, 4, 2, 16, 9'990'000, 0}));
    clock.Advance(1);
    source.RequestSample();
    source.RequestSample();
    EXPECT_EQ(dispatcher.video.size(), 3u);
    EXPECT_THAT(dispatcher.States(), ElementsAre(State::Opened, State::Playing, State::Ended));

    // It can be played again, and playing while it plays starts the clock anew in silence.
    dispatcher.video.clear();
    clock.Advance(5000);
    source.Play();
    source.RequestSample();
    clock.Advance(600);
    source.Play();
    clock.Advance(600);
    source.RequestSample();
    EXPECT_EQ(dispatcher.video.back().time, 0);
    EXPECT_EQ(dispatcher.video.size(), 2u);
    source.Stop();
    source.RequestSample();
    EXPECT_EQ(dispatcher.video.size(), 2u);
    EXPECT_FALSE(source.Pause());
    source.Close();
    EXPECT_THAT(dispatcher.States(), ElementsAre(State::Opened, State::Playing, State::Ended,
                                                 State::Playing, State::Stopped, State::Closed));
    EXPECT_EQ(source.GetPixels(), pixels) << "closing frees nothing";

    dispatcher.video.clear();
    ASSERT_TRUE(source.Open(0, 0, 0));
    source.Play();
    source.RequestSample();
    EXPECT_TRUE(dispatcher.video.empty());
    EXPECT_EQ(source.GetState(), State::Ended) << "a duration of zero ends at the first request";
}

// Three frames on a 6 x 4 screen: full, a part with a transparent colour, an interlaced part.
Bytes ThreeFrames() {
    return GifBuilder(6, 4, GifBuilder::colors, 3)
        .Application("NETSCAPE2.0", {1, 0, 0})
        .Control(0)
        .Image(0, 0, 6, 4, Bytes(24, 5))
        .Control(0, 2, true, 9)
        .Image(1, 2, 2, 1, {7, 9})
        .Control(10, 3)
        .Image(4, 0, 1, 4, {10, 11, 12, 13}, true)
        .Trailer()
        .bytes;
}

Bytes Bgra(std::size_t index) {
    const std::uint32_t color = GifBuilder::colors[index];
    return {static_cast<std::uint8_t>(color), static_cast<std::uint8_t>(color >> 8),
            static_cast<std::uint8_t>(color >> 16), 255};
}

std::vector<unsigned char> PixelOf(const MediaSourcePicture::Frame& frame, std::size_t pixel) {
    return std::vector(frame.pixels + pixel * 4, frame.pixels + pixel * 4 + 4);
}

TEST_F(MediaSourcePictureTest, ReadsTheRawFramesOfAGif) {
    Name(folder.Write("three.gif", ThreeFrames()));
    ASSERT_TRUE(source.Open(100, 2, 2)) << "the box is not for GIFs";
    EXPECT_EQ(source.GetMediaInfo().width, 6);
    EXPECT_EQ(source.GetMediaInfo().height, 4);
    const auto* gif = source.GetGif();
    ASSERT_NE(gif, nullptr);
    EXPECT_EQ(gif->totalDelay, 90u + 90u + 100u);
    EXPECT_EQ(gif->backgroundColor, 0xFF000000u | GifBuilder::colors[3]);
    EXPECT_FALSE(gif->hasLoop);
    EXPECT_FALSE(gif->stopAtEnd);
    EXPECT_TRUE(std::all_of(source.GetPixels(), source.GetPixels() + 96,
                            [](unsigned char byte) { return byte == 0; }));

    ASSERT_EQ(source.GetFrameCount(), 3);
    ASSERT_EQ(source.GetDecodedFrameCount(), 3);
    const auto& second = *source.GetFrame(1);
    EXPECT_THAT((std::vector<int>{second.left, second.top, second.right, second.bottom}),
                ElementsAre(1, 2, 3, 3));
    EXPECT_EQ(second.width, 2u);
    EXPECT_EQ(second.height, 1u);
    EXPECT_TRUE(second.transparent);
    EXPECT_EQ(second.disposal, 2u);
    EXPECT_EQ(PixelOf(second, 0), Bgra(7));
    EXPECT_EQ(PixelOf(second, 1), (std::vector<unsigned char>{0, 0, 0, 0}));
    const auto& third = *source.GetFrame(2);
    EXPECT_EQ(third.disposal, 3u);
    EXPECT_FALSE(third.transparent);
    for (std::size_t y = 0; y < 4; ++y)
        EXPECT_EQ(PixelOf(third, y), Bgra(10 + y)) << "the interlaced rows in order";
    EXPECT_TRUE(TakeErrors().empty());
}

TEST_F(MediaSourcePictureTest, AGifTicksForEverUnlessItIsToldToStop) {
    Name(folder.Write("three.gif", ThreeFrames()));
    ASSERT_TRUE(source.Open(100, 0, 0));
    source.Play();
    EXPECT_EQ(source.GetMediaInfo().duration, 280.0) << "not shorter than one pass";
    source.RequestSample();
    clock.Advance(1'000'000);
    source.RequestSample();
    const RecordingDispatcher::Video tick{&source, nullptr, 0, 0, 0, 0, 0};
    EXPECT_THAT(dispatcher.video, ElementsAre(tick, tick));
    source.GetGif()->stopAtEnd = true;
    source.RequestSample();
    EXPECT_EQ(dispatcher.video.size(), 2u);
    EXPECT_EQ(source.GetState(), State::Ended);
}

TEST_F(MediaSourcePictureTest, TheAspectRatioShrinksOneSideAndEitherExtensionTellsTheLoops) {
    const struct {
        std::uint8_t aspect;
        std::uint32_t width, height;
        const char* application;
        Bytes data;
        std::uint32_t loops;
    } cases[] = {
        {0, 40, 20, "NETSCAPE2.0", {1, 0, 0}, 0},
        {49, 40, 20, "NETSCAPE2.0", {1, 3, 0}, 3},
        {113, 40, 10, "ANIMEXTS1.0", {1, 0x34, 0x12}, 0x1234},
        {17, 20, 20, "OTHERAPP1.0", {1, 3, 0}, 0},
        {255, 40, 4, "NETSCAPE2.0", {1, 0, 0}, 0},
        {1, 10, 20, "NETSCAPE2.0", {1, 0, 0}, 0},
    };
    for (const auto& item : cases) {
        SCOPED_TRACE(item.aspect);
        GifBuilder gif(40, 20, GifBuilder::colors, 0, item.aspect);
        Name(folder.Write(
            "odd.gif",
            gif.Application(item.application, item.data).Image(0, 0, 1, 1, {0}).Trailer().bytes));
        ASSERT_TRUE(source.Open());
        EXPECT_EQ(source.GetGif()->displayWidth, item.width);
        EXPECT_EQ(source.GetGif()->displayHeight, item.height);
        EXPECT_EQ(source.GetMediaInfo().width, static_cast<int>(item.width));
        EXPECT_EQ(source.GetGif()->width, 40u);
        EXPECT_EQ(source.GetGif()->loopCount, item.loops);
        EXPECT_EQ(source.GetGif()->hasLoop, item.loops != 0);
    }
}

TEST_F(MediaSourcePictureTest, AnObjectUsedTwiceKeepsWhatItHad) {
    Name(folder.Write("three.gif", ThreeFrames()));
    ASSERT_TRUE(source.Open());
    Name(folder.Write("one.gif",
                      GifBuilder(1, 1).Control(50).Image(0, 0, 1, 1, {0}).Trailer().bytes));
    ASSERT_TRUE(source.Open());
    EXPECT_EQ(source.GetFrameCount(), 1);
    EXPECT_EQ(source.GetDecodedFrameCount(), 4) << "new frames stand behind the old ones";
    EXPECT_EQ(source.GetGif()->totalDelay, 90u) << "and the total is that of the first entries";

    Name(Bmp(4, 2));
    ASSERT_TRUE(source.Open());
    source.Play();
    source.RequestSample();
    ASSERT_EQ(dispatcher.video.size(), 1u);
    EXPECT_EQ(dispatcher.video[0].pixels, nullptr) << "a still behind a GIF ticks as the GIF did";
}

}  // namespace
}  // namespace Vimbrel::test

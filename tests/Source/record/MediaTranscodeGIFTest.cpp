// What the GIF recorder decides, seen through an imaging component that writes nothing.
#include "Source/record/MediaTranscodeGIF.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

#include "tests/fakes/CapturingLog.h"
#include "tests/fakes/FakeImaging.h"
#include "tests/fakes/ManualClock.h"
#include "tests/support/WaitUntil.h"

namespace Vimbrel::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A frame whose first byte is `mark`; opaque but for the alphas given to its corners.
std::vector<unsigned char> Frame(unsigned width, unsigned height, unsigned char mark = 0) {
    std::vector<unsigned char> pixels(std::size_t{width} * height * 4, 255);
    pixels[0] = mark;
    return pixels;
}

class MediaTranscodeGIFTest : public testing::Test {
protected:
    MediaTranscodeGIFTest() {
        TakeLog();
        recorder.SetVideoOutputFormat(4, 4);
        recorder.SetVideoFps(10, 1);
        recorder.SetVideoFpsAsVideo(true);
        EXPECT_FALSE(recorder.Create(L"/folder/out.gif"))
            << "there is nothing to create, and that is told as false";
    }
    ~MediaTranscodeGIFTest() override { imaging.Journal().Resume(); }

    void Push(unsigned width = 4, unsigned height = 4, unsigned char mark = 0) {
        std::vector<unsigned char> pixels = Frame(width, height, mark);
        recorder.SetVideoSample(pixels.data(), width, height, 0, 0, 0);
    }

    TranscodeStatistics Statistics() const { return GetTranscodeStatistics(recorder); }

    // Lets the thread come to the end of `frames` frames before it is stopped.
    void WaitForFrames(std::uint64_t frames) {
        WaitUntil([&] { return Statistics().videoWritten + Statistics().videoDropped >= frames; });
    }
    void PushAndWait(std::uint64_t frames) {
        Push();
        WaitForFrames(frames);
    }

    ManualClock clock;
    ScopedClock scoped_clock{clock};
    ScopedFakeImaging imaging;
    ImagingJournal& journal = imaging.Journal();
    MediaTranscodeGIF recorder;
};

TEST_F(MediaTranscodeGIFTest, WritesHeaderFrameAndMetadataInTheirOrder) {
    ASSERT_TRUE(recorder.Start());
    EXPECT_TRUE(recorder.IsWorking());
    Push(4, 4, 77);
    WaitForFrames(1);
    recorder.Stop();
    EXPECT_FALSE(recorder.IsWorking());
    EXPECT_THAT(
        journal.Entries(),
        ElementsAre("CoCreateInstance", "CreateStream",
                    "InitializeFromFilename /folder/out.gif write", "CreateEncoder gif",
                    "Encoder.Initialize 2", "GetMetadataQueryWriter",
                    "SetMetadata /appext/Application UI1[] 78 69 84 83 67 65 80 69 50 46 48",
                    "SetMetadata /appext/Data UI1[] 3 1 0 0 0",
                    "SetMetadata /commentext/TextEntry LPSTR Produced by Halvorix Ombrix",
                    "SetMetadata /logscrdesc/Width UI2 4", "SetMetadata /logscrdesc/Height UI2 4",
                    "CreateFormatConverter", "CreateBitmap 4x4 stride 16 size 64 first 77",
                    "CreateBitmapScaler", "Scaler.Initialize 4x4 mode 1", "CreatePalette",
                    "Palette.Initialize 256 opaque",
                    "Converter.Initialize indexed dither 8 threshold 0 type 7", "CreateNewFrame",
                    "Frame.Initialize", "Frame.WriteSource", "Frame.GetMetadataQueryWriter",
                    "Frame.Commit", "SetMetadata /grctlext/Delay UI2 10",
                    "SetMetadata /imgdesc/Width UI2 4", "SetMetadata /imgdesc/Height UI2 4",
                    "Encoder.Release", "Stream.Release", "Factory.Release"));
    EXPECT_THAT(TakeErrors(), IsEmpty());
}

TEST_F(MediaTranscodeGIFTest, FourCornersDecideOnTransparency) {
    const struct {
        std::size_t pixel;  // of 4 x 4
        unsigned char alpha;
        bool transparent;
    } cases[] = {{0, 10, true},  {3, 0, true},   {12, 9, true},
                 {15, 10, true}, {0, 11, false}, {5, 0, false}};
    recorder.SetAlphaThresholdPercent(80.0f);
    recorder.SetVideoQuality(0);
    std::uint64_t frames = 0;
    ASSERT_TRUE(recorder.Start());
    for (const auto& item : cases) {
        auto pixels = Frame(4, 4);
        pixels[item.pixel * 4 + 3] = item.alpha;
        recorder.SetVideoSample(pixels.data(), 4, 4, 16, 0, 0);
        WaitForFrames(++frames);
        EXPECT_EQ(journal.DetailsOf("Palette.Initialize").back(),
                  item.transparent ? "256 transparent" : "256 opaque")
            << item.pixel;
        EXPECT_EQ(journal.DetailsOf("Converter.Initialize").back(),
                  item.transparent ? "indexed dither 0 threshold 80 type 7"
                                   : "indexed dither 0 threshold 0 type 7");
    }
    recorder.Stop();
    std::vector<std::string> flags;
    for (const std::string& entry : journal.DetailsOf("SetMetadata")) {
        if (entry.find("Transparen") != entry.npos) flags.push_back(entry);
    }
    ASSERT_EQ(flags.size(), 8u) << "two for each of the four transparent frames";
    EXPECT_EQ(flags[0], "/grctlext/TransparencyFlag BOOL 1");
    EXPECT_EQ(flags[1], "/grctlext/TransparentColorIndex UI1 255");
}

TEST_F(MediaTranscodeGIFTest, TheFirstFrameFitsTheOutputSizeAndTheRateSetsTheDelay) {
    const struct {
        int width, height, fps;
        unsigned sample_width, sample_height;
        const char *scaled, *delay;
    } cases[] = {
        {640, 480, 10, 1280, 800, "640x400 mode 1", "/grctlext/Delay UI2 10"},
        {640, 480, 30, 640, 480, "640x480 mode 1", "/grctlext/Delay UI2 3"},
        {100, 100, 7, 20, 10, "100x50 mode 1", "/grctlext/Delay UI2 14"},
        {10, 10, 100, 30, 90, "3x10 mode 1", "/grctlext/Delay UI2 1"},
    };
    for (const auto& item : cases) {
        recorder.SetVideoOutputFormat(item.width, item.height);
        recorder.SetVideoFps(item.fps, 1001);
        ASSERT_TRUE(recorder.Start());
        Push(item.sample_width, item.sample_height);
        WaitForFrames(1);
        recorder.Stop();
        EXPECT_EQ(journal.DetailsOf("Scaler.Initialize").back(), item.scaled);
        const auto metadata = journal.DetailsOf("SetMetadata");
        EXPECT_THAT(metadata, testing::Contains(item.delay));
        // The entry of the frame's size is the sample's, not the output's; the writer judges it.
        EXPECT_EQ(metadata.back(), "/imgdesc/Height UI2 " + std::to_string(item.sample_height));
    }
}

TEST_F(MediaTranscodeGIFTest, TheClockLimitsTheRate) {
    recorder.SetVideoFpsAsVideo(false);
    ASSERT_TRUE(recorder.Start());
    Push();
    EXPECT_EQ(Statistics().videoTaken, 0u) << "no time has passed";
    int taken_in_a_second = 0;
    for (int ms = 1; ms <= 1000; ++ms) {
        clock.Advance(1);
        const auto before = Statistics().videoTaken;
        Push();
        taken_in_a_second += static_cast<int>(Statistics().videoTaken - before);
    }
    EXPECT_EQ(taken_in_a_second, 10);
    EXPECT_EQ(Statistics().videoLimited, 1001u - 10u);
    recorder.Stop();

    recorder.SetVideoFps(0, 1);
    ASSERT_TRUE(recorder.Start());
    clock.Advance(5000);
    Push();
    EXPECT_EQ(Statistics().videoTaken, 0u) << "a rate of 0 keeps all out";
    recorder.Stop();
}

TEST_F(MediaTranscodeGIFTest, ASlowEncoderLosesTheOldestOfFive) {
    journal.Hold("CreateBitmap");
    ASSERT_TRUE(recorder.Start());
    Push(4, 4, 1);
    ASSERT_TRUE(journal.WaitFor("CreateBitmap", 1));  // the thread is busy with the first
    for (unsigned char mark = 2; mark <= 8; ++mark) Push(4, 4, mark);
    EXPECT_EQ(Statistics().videoDropped, 2u);
    recorder.SetVideoSample(nullptr, 0, 0, 0, 0, 0);
    EXPECT_EQ(Statistics().videoDropped, 3u) << "the end takes a place as well";
    journal.Resume();
    WaitForFrames(8);
    recorder.Stop();
    std::string marks;
    for (const std::string& entry : journal.DetailsOf("CreateBitmap"))
        marks += entry.substr(entry.rfind(' '));
    EXPECT_EQ(marks, " 1 5 6 7 8");
    EXPECT_EQ(Statistics().videoTaken, 8u);
    EXPECT_EQ(Statistics().videoWritten, 5u);
}

TEST_F(MediaTranscodeGIFTest, StopIsPromptAndGivesUpWhatWaits) {
    journal.Hold("CreateBitmap");
    ASSERT_TRUE(recorder.Start());
    for (unsigned char mark = 1; mark <= 4; ++mark) Push(4, 4, mark);
    ASSERT_TRUE(journal.WaitFor("CreateBitmap", 1));
    std::thread stopper([this] { recorder.Stop(); });
    WaitUntil([this] { return !recorder.IsWorking(); });
    journal.Resume();
    stopper.join();
    EXPECT_EQ(Statistics().videoWritten, 1u);
    EXPECT_EQ(Statistics().videoDropped, 3u);
    recorder.Stop();
    recorder.Cleanup();
}

TEST_F(MediaTranscodeGIFTest, ANullSampleEndsTheRecordingAndItCanStartAgain) {
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(recorder.Start());
        Push();
        const unsigned size = round == 0 ? 0 : 4;  // it does not matter
        recorder.SetVideoSample(nullptr, size, size, size * 4, 0, 0);
        WaitUntil([this] { return !recorder.IsWorking(); });
        EXPECT_FALSE(recorder.IsWorking());
        Push();
        EXPECT_EQ(Statistics().videoTaken, 1u) << "nothing is taken after the end";
        EXPECT_EQ(Statistics().videoWritten, 1u);
        EXPECT_EQ(Statistics().videoDropped, 0u);
        if (round == 1) recorder.Stop();
    }
    EXPECT_EQ(journal.DetailsOf("Encoder.Release").size(), 3u);
}

TEST_F(MediaTranscodeGIFTest, AFrameWithoutMemoryIsDropped) {
#ifdef VIMBREL_SANITIZED
    GTEST_SKIP() << "sanitizers end the program instead";
#endif
    ASSERT_TRUE(recorder.Start());
    unsigned char pixel[4] = {};
    EXPECT_NO_THROW(recorder.SetVideoSample(pixel, 1u << 29, ~0u, 0, 0, 0));
    EXPECT_EQ(Statistics().videoTaken, 1u);
    EXPECT_EQ(Statistics().videoDropped, 1u);
    PushAndWait(2);
    recorder.Stop();
    EXPECT_EQ(Statistics().videoWritten, 1u);
}

TEST_F(MediaTranscodeGIFTest, AFailingHeaderIsLoggedAndTriedAgain) {
    const struct {
        const char* operation;
        const char* message;
    } cases[] = {
        {"CoCreateInstance", "GIF - Create WICImagingFactory failed - 0x80040154"},
        {"CreateStream", "GIF - CreateStream failed - 0x80040154"},
        {"InitializeFromFilename", "GIF - InitializeFromFilename failed - 0x80040154"},
        {"CreateEncoder", "GIF - CreateEncoder failed - 0x80040154"},
        {"Encoder.Initialize", "GIF - Encoder Initialize failed - 0x80040154"},
        {"GetMetadataQueryWriter", "GIF - GetMetadataQueryWriter failed - 0x80040154"},
        {"SetMetadata", nullptr},
    };
    for (const auto& item : cases) {
        journal.FailNext(item.operation, REGDB_E_CLASSNOTREG, 2);
        ASSERT_TRUE(recorder.Start());
        for (std::uint64_t frame = 1; frame <= 3; ++frame) PushAndWait(frame);
        recorder.Stop();
        EXPECT_EQ(Statistics().videoDropped, 2u) << item.operation;
        EXPECT_EQ(Statistics().videoWritten, 1u) << item.operation;
        EXPECT_TRUE(Statistics().failed) << item.operation;
        EXPECT_EQ(TakeErrors(), item.message ? std::vector<std::string>(2, item.message)
                                             : std::vector<std::string>());
    }
}

TEST_F(MediaTranscodeGIFTest, AFailingFrameIsLostInSilence) {
    for (const char* operation :
         {"CreateFormatConverter", "CreateBitmap", "CreateBitmapScaler", "Scaler.Initialize",
          "CreatePalette", "Palette.Initialize", "Converter.Initialize", "CreateNewFrame",
          "Frame.Initialize", "Frame.WriteSource", "Frame.GetMetadataQueryWriter",
          "Frame.Commit"}) {
        ASSERT_TRUE(recorder.Start());
        journal.FailNext(operation, E_FAIL);
        PushAndWait(1);
        PushAndWait(2);
        recorder.Stop();
        EXPECT_EQ(Statistics().videoDropped, 1u) << operation;
        EXPECT_EQ(Statistics().videoWritten, 1u) << operation;
    }
    EXPECT_THAT(TakeErrors(), IsEmpty());
}

TEST_F(MediaTranscodeGIFTest, WithoutSizeOrNameNothingIsMade) {
    recorder.SetVideoOutputFormat(0, 4);
    ASSERT_TRUE(recorder.Start());
    PushAndWait(1);
    recorder.Stop();
    recorder.SetVideoOutputFormat(4, 4);
    recorder.Create(L"");
    ASSERT_TRUE(recorder.Start());
    Push();
    auto pixels = Frame(4, 1);
    recorder.SetVideoSample(pixels.data(), 4, 0, 16, 0, 0);  // no rows
    WaitForFrames(2);
    recorder.Stop();
    EXPECT_THAT(journal.Entries(), IsEmpty());
    EXPECT_EQ(Statistics().videoDropped, 2u);
    EXPECT_THAT(TakeErrors(), IsEmpty());
}

TEST_F(MediaTranscodeGIFTest, DestroyingARunningRecorderEndsItsThread) {
    auto running = std::make_unique<MediaTranscodeGIF>();
    running->SetVideoOutputFormat(4, 4);
    ASSERT_TRUE(running->Start());
    running.reset();
}

}  // namespace
}  // namespace Vimbrel::test

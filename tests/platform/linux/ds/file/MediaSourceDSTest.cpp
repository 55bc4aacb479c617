// Media files as sources: information, states, control, refused files, thumbnails.
#include "vimbrel/MediaSourceDS.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <set>

#include "tests/fakes/CapturingLog.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/Watchdog.h"
#include "vimbrel/DSGetVideoFrame.h"

namespace Vimbrel::test {
namespace {

using State = MediaSource::State;

class Pictures final : public MediaSource::Dispatcher {
public:
    void OnStateChanged(MediaSource*, State, State to) override { states.push_back(to); }
    void OnVideoSample(MediaSource*, unsigned char* pixels, int width, int height, int stride,
                       std::int64_t time, std::int64_t duration) override {
        reader.OnVideoSample(pixels, width, height, stride, time, duration);
    }
    void OnAudioSample(MediaSource*, unsigned char*, int, std::int64_t, std::int64_t) override {}

    std::vector<State> states;  // of the test's thread
    NumberReader reader;
};

void Pump() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
}

class FileSource : public testing::Test {
protected:
    static constexpr int pictures = 50;

    static void SetUpTestSuite() {
        folder = new TempFolder;
        WriteNumberedPictures(*folder, pictures);
        const std::string input =
            "ffmpeg -nostdin -loglevel error -f rawvideo -pix_fmt yuv420p -s 64x48 -r 25 "
            "-i numbers.yuv ";
        folder->Run(input + "-c:v libx264 -qp 4 -bf 2 -g 20 -threads 1 short.mp4");
        folder->Run(input +
                    "-f lavfi -i sine=440:duration=2 -f lavfi -i sine=880:duration=2 -map 0 -map 1 "
                    "-map 2 -metadata:s:a:0 language=eng -metadata:s:a:1 language=deu "
                    "-metadata:s:a:1 title=Kommentar -c:v libx264 -qp 4 -threads 1 two.mkv");
    }
    static void TearDownTestSuite() {
        delete folder;
        folder = nullptr;
    }
    FileSource() {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        source.SetDispatcher(&seen);
    }
    ~FileSource() override {
        source.Close();
        CoUninitialize();
    }
    void Name(const std::string& file, bool pictures_too = true) {
        source.SetFileName((*folder / file).wstring().c_str(), pictures_too);
    }
    bool PlayToTheEnd() {
        return source.Play() && WaitUntil([&] {
                   Pump();
                   return source.GetState() == State::Ended;
               });
    }

    const Watchdog watchdog{"media source"};
    Pictures seen;
    MediaSourceDS source;
    inline static TempFolder* folder = nullptr;
};

TEST_F(FileSource, TellsWhatItKnowsAndPlaysToTheEndOnce) {
    Name("short.mp4");
    source.SetRate(400);
    ASSERT_TRUE(source.Open());
    const MediaSource::MEDIA_INFO& info = source.GetMediaInfo();
    EXPECT_TRUE(info.hasVideo);
    EXPECT_FALSE(info.hasAudio);
    EXPECT_TRUE(info.seekable);
    EXPECT_EQ(info.width, 64);
    EXPECT_EQ(info.height, 48);
    EXPECT_EQ(info.frameRate, 25.0);
    EXPECT_NEAR(info.duration, 2000.0, 1.0);
    EXPECT_NEAR(source.GetDuration(), 2.0, 0.001);
    ASSERT_TRUE(PlayToTheEnd());
    const auto taken = seen.reader.Taken();
    ASSERT_EQ(taken.size(), static_cast<std::size_t>(pictures));
    for (int i = 0; i < pictures; ++i) EXPECT_EQ(taken[static_cast<std::size_t>(i)].number, i);
    EXPECT_NEAR(source.GetCurrentPosition(), 2.0, 0.001);
    source.Close();
    Pump();
    EXPECT_EQ(seen.states,
              (std::vector<State>{State::Opened, State::Playing, State::Ended, State::Closed}));
}

TEST_F(FileSource, PauseHoldsThePositionAndSeeksReachThePicture) {
    Name("short.mp4");
    ASSERT_TRUE(source.Open());
    ASSERT_TRUE(source.Pause());
    EXPECT_TRUE(source.Seek(1.01));
    EXPECT_EQ(source.GetCurrentPosition(), 1.01);
    EXPECT_EQ(seen.reader.Count(), 0u);  // appears with Play
    ASSERT_TRUE(source.Play());
    ASSERT_TRUE(WaitUntil([&] { return seen.reader.Count() > 0; }));
    ASSERT_TRUE(source.Pause());
    const double held = source.GetCurrentPosition();
    EXPECT_GE(held, 1.01);
    EXPECT_EQ(source.GetCurrentPosition(), held);
    EXPECT_EQ(seen.reader.Taken().front().number, 25);
    EXPECT_EQ(source.GetState(), State::Paused);
}

TEST_F(FileSource, EndsAtTheStopTimeAndOpensAnotherFileAfterwards) {
    Name("short.mp4");
    ASSERT_TRUE(source.Open());
    EXPECT_TRUE(source.SetStopTime(0.4));
    source.SetRate(400);
    ASSERT_TRUE(PlayToTheEnd());
    ASSERT_EQ(seen.reader.Count(), 10u);
    EXPECT_EQ(seen.reader.Taken().back().number, 9);
    source.Stop();
    seen.reader.Clear();
    EXPECT_TRUE(source.SetStopTime(0));
    ASSERT_TRUE(PlayToTheEnd());
    EXPECT_EQ(seen.reader.Count(), 0u);
    source.Stop();
    EXPECT_TRUE(source.SetStopTime(99));
    ASSERT_TRUE(PlayToTheEnd());
    EXPECT_EQ(seen.reader.Count(), static_cast<std::size_t>(pictures));
    EXPECT_LE(source.GetCurrentPosition(), source.GetDuration());
    source.Close();
    Name("two.mkv");
    ASSERT_TRUE(source.Open());
    const auto& streams = source.GetMediaInfo().audioStreams;
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(streams[0].language, 0x0409);
    EXPECT_EQ(streams[1].name, L"Kommentar (deu)");
    EXPECT_EQ(source.GetAudioStream(), 1);
    EXPECT_TRUE(source.SetAudioStream(2));
    EXPECT_FALSE(source.SetAudioStream(3));
    EXPECT_EQ(source.GetAudioStream(), 2);
    seen.reader.Clear();
    ASSERT_TRUE(PlayToTheEnd());
    EXPECT_EQ(seen.reader.Count(), static_cast<std::size_t>(pictures));
}

// Without an output there is nothing to control.
TEST_F(FileSource, SoundNeedsAnOutput) {
    Name("two.mkv", false);
    EXPECT_EQ(source.GetSourceType(), MediaSource::SourceType::Audio);
    EXPECT_FALSE(source.Open());
    EXPECT_EQ(source.GetState(), State::Closed);
    Name("two.mkv");
    ASSERT_TRUE(source.Open());
    EXPECT_FALSE(source.GetMediaInfo().hasAudio);
    EXPECT_FALSE(source.SetVolume(50));
    EXPECT_EQ(source.GetVolume(), 50);
    EXPECT_FALSE(source.SetPitch(50));
    EXPECT_EQ(source.GetPitch(), 0);
    EXPECT_EQ(source.GetAudioMeter(0), -100.0f);
    source.SetRate(-5);
    EXPECT_EQ(source.GetRate(), 100);
}

TEST_F(FileSource, RefusesWhatIsNoMediaFileAndSaysWhy) {
    folder->Write("text.mp4", std::string("This is a letter, not a film.\n"));
    folder->Write("empty.mkv", Bytes{});
    std::filesystem::create_directory(*folder / "folder.avi");
    ASSERT_EQ(mkfifo((*folder / "pipe.ts").c_str(), 0600), 0);
    const Bytes whole = ReadBytes(*folder / "short.mp4");
    folder->Write("header.mp4", Bytes(whole.begin(), whole.begin() + 100));
    for (const char* name :
         {"nowhere.mp4", "text.mp4", "empty.mkv", "folder.avi", "pipe.ts", "header.mp4"}) {
        TakeLog();
        Name(name);
        EXPECT_FALSE(source.Open()) << name;
        EXPECT_FALSE(TakeErrors().empty()) << name;
        EXPECT_EQ(source.GetState(), State::Closed) << name;
    }
    std::filesystem::remove(*folder / "pipe.ts");
}

TEST_F(FileSource, EndsInADamagedFile) {
    Bytes bytes = ReadBytes(*folder / "two.mkv");
    for (const std::size_t part : {3, 5, 7, 9}) {
        // Cut off, and with a hole.
        folder->Write("cut.mkv",
                      Bytes(bytes.begin(),
                            bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() * part / 10)));
        Bytes holed = bytes;
        std::fill_n(holed.begin() + static_cast<std::ptrdiff_t>(bytes.size() * part / 11), 2000,
                    std::uint8_t{0});
        folder->Write("hole.mkv", holed);
        for (const char* name : {"cut.mkv", "hole.mkv"}) {
            Name(name);
            source.SetRate(800);
            if (!source.Open()) continue;
            EXPECT_TRUE(PlayToTheEnd()) << name << " at " << part;
            source.Close();
        }
    }
}

// After its pictures the file has nothing for a terabyte.
TEST_F(FileSource, ClosesAFileThatNeverEnds) {
    folder->Run(
        "ffmpeg -nostdin -loglevel error -i short.mp4 -c copy -f matroska - </dev/null | cat "
        ">huge.mkv");
    std::filesystem::resize_file(*folder / "huge.mkv", std::uintmax_t{1} << 40);
    Name("huge.mkv");
    source.SetRate(800);
    ASSERT_TRUE(source.Open());
    ASSERT_TRUE(source.Play());
    // More than one: the reader is at work.
    EXPECT_TRUE(WaitUntil([&] { return seen.reader.Count() > 1; }));
    source.Close();
    EXPECT_EQ(source.GetState(), State::Closed);
    std::filesystem::remove(*folder / "huge.mkv");
}

TEST_F(FileSource, ThumbnailsAreThePicturesOfTheirTimes) {
    struct Case {
        const char* file;
        double seconds;
        int number;
    };
    for (const Case& each : {Case{"short.mp4", 0, 0},
                             {"short.mp4", 0.99, 24},
                             {"two.mkv", 1.5, 37},
                             {"short.mp4", 99, 25},
                             {"nowhere.mp4", 0, -1}}) {
        std::atomic<int> first{-1};
        DSGetVideoFrame((*folder / each.file).wstring().c_str(), each.seconds, &first,
                        [](unsigned char* pixels, int, int, int stride, void* user) {
                            int none = -1;
                            static_cast<std::atomic<int>*>(user)->compare_exchange_strong(
                                none, NumberOf(pixels, stride));
                        });
        EXPECT_EQ(first, each.number) << each.file << " at " << each.seconds;
    }
}

// Nothing here depends on time: every control operation must return, in any order.
TEST_F(FileSource, SurvivesControlInAnyOrder) {
    folder->Write("two.srt", std::string("1\n00:00:00,000 --> 00:00:02,000\nText\n"));
    folder->Write("two.en.srt", std::string("1\n00:00:01,000 --> 00:00:01,500\nMore\n"));
    Name("two.mkv");
    source.SetAutoloadSubtitle(true);
    std::mt19937 random(7);
    const int rounds = 400;
    ASSERT_TRUE(source.Open());
    for (int i = 0; i < rounds; ++i) {
        switch (random() % 9) {
            case 0:
                EXPECT_TRUE(source.Play());
                break;
            case 1:
                EXPECT_TRUE(source.Pause());
                break;
            case 2:
                source.Stop();
                break;
            case 3:
                EXPECT_TRUE(source.Seek(static_cast<double>(random() % 2500) / 1000));
                break;
            case 4:
                source.SetRate(static_cast<int>(50 + random() % 400));
                break;
            case 5:
                EXPECT_TRUE(source.SetAudioStream(static_cast<int>(1 + random() % 2)));
                break;
            case 6:
                EXPECT_TRUE(source.SetSubtitleStream(static_cast<int>(3 + random() % 2)));
                break;
            case 7:
                Pump();
                break;
            default:
                if (random() % 4 != 0) break;
                source.Close();
                ASSERT_TRUE(source.Open());
        }
    }
}

}  // namespace
}  // namespace Vimbrel::test

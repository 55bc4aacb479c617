// Ends of recordings, several at once, and what is left of them.
#include <filesystem>
#include <thread>

#include "tests/Source/record/Mp4RecorderKit.h"
#include "tests/support/ProcessCounts.h"

namespace Vimbrel::test {
namespace {

using MediaTranscodeMP4LifeTest = MediaTranscodeMP4Test;

TEST_F(MediaTranscodeMP4LifeTest, StopDropsWhatWaitsAndIsQuick) {
    const Scene scene = {.width = 160, .height = 90};
    const auto recorder = Make(scene);
    ASSERT_TRUE(recorder->Create(Name()));
    // Samples are taken from Create on.
    PushSine(*recorder, scene, 1);
    const Bytes frame = Frame(scene, 0);
    PushFrame(*recorder, scene, frame, 0);
    ASSERT_TRUE(recorder->Start());
    constexpr int count = 3000;
    for (int i = 1; i < count; ++i) PushFrame(*recorder, scene, frame, scene.FrameTime(i));
    const auto start = std::chrono::steady_clock::now();
    recorder->Stop();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    const TranscodeStatistics counts = GetTranscodeStatistics(*recorder);
    EXPECT_EQ(counts.videoTaken, static_cast<std::uint64_t>(count));
    EXPECT_EQ(counts.videoDropped + counts.videoWritten, static_cast<std::uint64_t>(count));
    EXPECT_EQ(Probe(Path(), "v", "nb_frames"), std::to_string(counts.videoWritten));
    ExpectDecodes(Path());
}

TEST_F(MediaTranscodeMP4LifeTest, CountsBalanceWhenSamplesRaceWithStopOrComeAfterTheEnd) {
    const Scene scene = {.width = 16, .height = 16};
    const Bytes frame = Frame(scene, 0);
    const Bytes sound(1764);
    for (int round = 0; round < 40; ++round) {
        const auto recorder = Make(scene);
        ASSERT_TRUE(recorder->Create(Name()));
        ASSERT_TRUE(recorder->Start());
        std::atomic<bool> stopped{false};
        std::thread picture([&] {
            for (int i = 0; !stopped; ++i) PushFrame(*recorder, scene, frame, scene.FrameTime(i));
        });
        std::thread beside([&] {
            for (int i = 0; !stopped; ++i)
                recorder->SetAudioSample(const_cast<std::uint8_t*>(sound.data()), 1764, i, 0);
        });
        while (GetTranscodeStatistics(*recorder).videoTaken < 5) std::this_thread::yield();
        // A block of size 0 ends it as Stop does.
        if (round % 2 == 0) recorder->SetAudioSample(nullptr, 0, 0, 0);
        const TranscodeStatistics at_end = GetTranscodeStatistics(*recorder);
        if (round % 2 == 1) recorder->Stop();
        stopped = true;
        picture.join();
        beside.join();
        recorder->Stop();
        const TranscodeStatistics counts = GetTranscodeStatistics(*recorder);
        EXPECT_EQ(counts.videoTaken, counts.videoWritten + counts.videoDropped);
        EXPECT_EQ(counts.audioTaken, counts.audioWritten + counts.audioDropped);
        if (round % 2 == 0) {
            EXPECT_EQ(counts.videoTaken, at_end.videoTaken) << "nothing is collected after it";
        }
        if (HasFailure()) FAIL() << "round " << round;
    }
}

TEST_F(MediaTranscodeMP4LifeTest, TwoAtOnceAndEachAgain) {
    std::thread other(
        [this] { Record({.width = 160, .height = 120, .fps_num = 30}, 90, "other.mp4"); });
    Record({}, 75, "one.mp4");
    other.join();
    EXPECT_EQ(Probe(Path("other.mp4"), "v", "width,nb_frames"), "160,90");
    EXPECT_EQ(Probe(Path("one.mp4"), "v", "width,nb_frames"), "64,75");

    // A second file keeps the first one's origin, so its picture begins where the stamps stand.
    const auto recorder = Make(no_sound);
    for (const char* name : {"first.mp4", "second.mp4"}) {
        const int begin = name[0] == 'f' ? 100 : 150;
        ASSERT_TRUE(recorder->Create(Name(name)));
        ASSERT_TRUE(recorder->Start());
        for (int i = begin; i < begin + 25; ++i)
            PushFrame(*recorder, no_sound, Frame(no_sound, i), no_sound.FrameTime(i));
        WaitTaken(*recorder);
        recorder->Stop();
        EXPECT_NEAR(Times(Path(name), "v").front(), begin == 100 ? 0.0 : 2.0, 1e-4);
        ExpectDecodes(Path(name));
    }
}

TEST_F(MediaTranscodeMP4LifeTest, ManyRoundsLeaveNothingBehind) {
    // In memory: waiting for the disk would take most of the time.
    const std::wstring name = L"/dev/shm/" + folder.path.filename().wstring() + L".mp4";
    const Scene scene = {.width = 16, .height = 16};
    const Bytes frame = Frame(scene, 0);
    const auto round = [&](int number) {
        const auto recorder = Make(scene);
        ASSERT_TRUE(recorder->Create(name));
        // Some end before they start, or without a sample, or by their destructor.
        if (number % 10 == 0) return;
        ASSERT_TRUE(recorder->Start());
        for (int i = 0; i < number % 3; ++i) {
            PushSound(*recorder, scene, i * 1764, 1764, [](std::int64_t) { return 0.1; });
            PushFrame(*recorder, scene, frame, scene.FrameTime(i));
        }
        if (number % 4 != 0) recorder->Stop();
    };
    for (int i = 0; i < 100; ++i) round(i);
    const ProcessCounts before = ProcessCounts::Now();
    for (int i = 0; i < 400; ++i) round(i);
    std::filesystem::remove(name);
    ExpectNothingLeft(before, std::size_t{1} << 20);
}

}  // namespace
}  // namespace Vimbrel::test

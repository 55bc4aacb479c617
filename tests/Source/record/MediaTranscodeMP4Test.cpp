// Whole recordings as an application makes them, looked at by ffprobe and ffmpeg. What the pipeline
// does with stamps and formats by itself is tested with the pipeline.
#include <gmock/gmock.h>

#include <random>

#include "tests/Source/record/Mp4RecorderKit.h"
#include "tests/support/Sanitized.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST_F(MediaTranscodeMP4Test, FormatsRatesAndSizes) {
    const struct {
        Scene scene;
        int frames;
        const char* picture;
        const char* sound;
    } cases[] = {
        {{.width = 320, .height = 240}, 50, "h264,Main,320,240,25/1,50", "aac,LC,44100,2"},
        {{.width = 2, .height = 2, .fps_num = 24, .sound_rate = 48000, .channels = 1},
         24,
         "h264,Main,2,2,24/1,24",
         "aac,LC,48000,1"},
        {{.width = 90, .height = 160, .fps_num = 30000, .fps_den = 1001, .sound_rate = 32000},
         30,
         "h264,Main,90,160,30000/1001,30",
         "aac,LC,44100,2"},
        {{.fps_num = 1, .sound_rate = 8000, .channels = 1, .bits = 8},
         4,
         "h264,Main,64,48,1/1,4",
         "aac,LC,44100,1"},
        {{.fps_num = 60, .channels = 3}, 60, "h264,Main,64,48,60/1,60", "aac,LC,44100,2"},
        {{.fps_num = 120, .sound_rate = 48000, .channels = 6},
         60,
         "h264,Main,64,48,120/1,60",
         "aac,LC,48000,6"},
        {{.width = 3840, .height = 2160, .sound_rate = 0},
         2,
         "h264,Main,3840,2160,25/1,2",
         nullptr},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.picture);
        Record(each.scene, each.frames);
        EXPECT_EQ(Probe(Path(), "v", "codec_name,profile,width,height,r_frame_rate,nb_frames"),
                  each.picture);
        EXPECT_NEAR(ProbeNumber(Path(), "v", "duration"), each.frames / each.scene.Rate(), 1e-3);
        if (each.sound) {
            EXPECT_EQ(Probe(Path(), "a", "codec_name,profile,sample_rate,channels"), each.sound);
            EXPECT_NEAR(ProbeNumber(Path(), "a", "duration"), each.frames / each.scene.Rate(),
                        0.06);
        } else {
            EXPECT_EQ(Probe(Path(), "a", "codec_name"), "");
        }
        ExpectDecodes(Path());
        EXPECT_THAT(TakeErrors(), IsEmpty());
    }
}

TEST_F(MediaTranscodeMP4Test, QualityIsBitsPerPixel) {
    const Scene scene = {.width = 128, .height = 96, .sound_rate = 0};
    std::mt19937 random(1);
    Bytes noise(std::size_t{scene.width} * scene.height * 4);
    double bits[4] = {};
    for (const int quality : {0, 1, 2, 3}) {
        const auto recorder = Make(scene);  // at quality 2, where an unknown one stays
        ASSERT_TRUE(recorder->Create(Name()));
        recorder->SetVideoQuality(quality);
        ASSERT_TRUE(recorder->Create(recorder->GetFilename()));
        ASSERT_TRUE(recorder->Start());
        for (int i = 0; i < 100; ++i) {
            for (std::uint8_t& byte : noise) byte = static_cast<std::uint8_t>(random());
            PushFrame(*recorder, scene, noise, scene.FrameTime(i));
        }
        WaitTaken(*recorder);
        recorder->Stop();
        bits[quality] = ProbeNumber(Path(), "v", "bit_rate") / (scene.width * scene.height);
    }
    EXPECT_NEAR(bits[0], 2, 1);
    EXPECT_NEAR(bits[1], 5, 1.5);
    EXPECT_NEAR(bits[2], 10, 3);
    EXPECT_NEAR(bits[3], bits[2], 1);
}

// Flashes and beeps of 0.2 s. Stamps begin anywhere, and frames come at varying distance.
TEST_F(MediaTranscodeMP4Test, PictureAndSoundStayTogetherForTenMinutes) {
    const Scene scene = {.sound_rate = 8000, .channels = 1};
    constexpr double length = sanitized ? 60 : 600;
    constexpr double late = length - 2;
    const std::vector<double> flashes = {1, late};
    const auto on = [&](double time) {
        return (time > 0.9999 && time < 1.2) || (time > late - 0.0001 && time < late + 0.2);
    };
    const auto near_event = [&](double time) { return time < 2 || time > late - 1; };
    const auto recorder = Make(scene);
    ASSERT_TRUE(recorder->Create(Name()));
    ASSERT_TRUE(recorder->Start());
    constexpr std::int64_t base = 7'000 * second;
    const Bytes dark = Frame(scene, 0, 0.1);
    const Bytes bright = Frame(scene, 0, 1.0);
    constexpr std::size_t block = 4000;
    std::int64_t sample = 0;
    for (double time = 0; time < length; time += near_event(time) ? 1.0 / scene.Rate() : 1.0) {
        while (static_cast<double>(sample) < std::min(time + 1.0, length) * scene.sound_rate) {
            PushSound(
                *recorder, scene, sample, block,
                [&](std::int64_t i) {
                    return on(static_cast<double>(i) / scene.sound_rate) ? Sine(scene, i) : 0.0;
                },
                base);
            sample += block;
        }
        PushFrame(*recorder, scene, on(time) ? bright : dark, base + std::llround(time * second));
    }
    WaitTaken(*recorder);
    recorder->Stop();
    EXPECT_NEAR(ProbeNumber(Path(), "v", "duration"), length, 0.05);
    EXPECT_NEAR(ProbeNumber(Path(), "a", "duration"), length, 0.05);
    const FlashesAndBeeps found = FindFlashesAndBeeps(Path(), 44100);
    ASSERT_EQ(found.flashes.size(), flashes.size());
    ASSERT_EQ(found.beeps.size(), flashes.size());
    for (std::size_t i = 0; i < flashes.size(); ++i) {
        EXPECT_NEAR(found.flashes[i], flashes[i], 0.02);
        EXPECT_NEAR(found.beeps[i], found.flashes[i], 0.02);
    }
}

// What comes of each medium, whatever the other does. The origins are kept apart: a picture that
// begins late begins at 0 all the same.
TEST_F(MediaTranscodeMP4Test, OneMediumWithoutTheOther) {
    const struct {
        const char* what;
        bool audio_only;
        double picture, sound;  // seconds pushed
        double late;            // of the picture's stamps
    } cases[] = {
        {"picture late", false, 1, 6, 5},
        {"picture alone", false, 2, 0, 0},
        {"sound alone", false, 0, 2, 0},
        {"a recorder of sound", true, 1, 2, 0},
    };
    const Scene scene;
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        const auto recorder = Make(scene, each.audio_only);
        EXPECT_EQ(recorder->GetOutputType(), each.audio_only ? MediaTranscode::OutputType::MP4Audio
                                                             : MediaTranscode::OutputType::MP4);
        ASSERT_TRUE(recorder->Create(Name()));
        ASSERT_TRUE(recorder->Start());
        PushSine(*recorder, scene, each.sound);
        const int frames = static_cast<int>(each.picture * scene.Rate());
        for (int i = 0; i < frames; ++i) {
            PushFrame(*recorder, scene, Frame(scene, i),
                      std::llround(each.late * second) + scene.FrameTime(i));
        }
        WaitTaken(*recorder);
        recorder->Stop();
        const bool picture = frames != 0 && !each.audio_only;
        EXPECT_EQ(Probe(Path(), "v", "nb_frames"), picture ? std::to_string(frames) : "");
        if (picture) {
            EXPECT_NEAR(Times(Path(), "v").front(), 0, 1e-4);
        }
        if (each.sound > 0) {
            EXPECT_NEAR(ProbeNumber(Path(), "a", "duration"), each.sound, 0.05);
        } else {
            EXPECT_EQ(Probe(Path(), "a", "nb_frames"), "");
        }
        ExpectDecodes(Path());
        EXPECT_THAT(TakeErrors(), IsEmpty());
    }
}

TEST_F(MediaTranscodeMP4Test, WhatCannotBeMadeIsRefusedAndToldAndHarmsNoOlderFile) {
    const Bytes older = {'o', 'l', 'd'};
    folder.Write("out.mp4", older);
    folder.Write("file", older);
    std::filesystem::create_directory(folder / "folder");
    const struct {
        const char* what;
        Scene scene;
        std::string name;
        bool audio_only;
    } cases[] = {
        {"odd width", {.width = 63}, "out.mp4", false},
        {"odd height", {.height = 47}, "out.mp4", false},
        {"no width", {.width = 0}, "out.mp4", false},
        {"no rate", {.fps_num = 0}, "out.mp4", false},
        {"too many channels", {.channels = 9}, "out.mp4", false},
        {"neither picture nor sound", no_sound, "out.mp4", true},
        {"no such folder", {}, "nowhere/out.mp4", false},
        {"a folder", {}, "folder", false},
        {"a file as folder", {}, "file/out.mp4", false},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        const auto recorder = Make(each.scene, each.audio_only);
        EXPECT_FALSE(recorder->Create(Name(each.name)));
        std::vector<std::string> told;
        for (const LogLine& line : TakeLog()) {
            if (line.level >= HalvorixAppLog::LOG_LEVEL_WARN)
                told.push_back(std::to_string(line.level) + " " + line.text);
        }
        if (std::string(each.what) == "no width" || std::string(each.what) == "no rate") {
            EXPECT_THAT(told, Not(IsEmpty()));
        } else {
            EXPECT_THAT(
                told, ElementsAre(
                          HasSubstr("3 TranscodeMP4 - MFCreateTranscodeTopology (hw) failed - 0x"),
                          HasSubstr("4 TranscodeMP4 - MFCreateTranscodeTopology failed - 0x")));
        }
        EXPECT_FALSE(recorder->Start());
        recorder->Stop();
        recorder->Cleanup();
        EXPECT_EQ(ReadBytes(Path()), older);
    }
    // Where it is the caller's mistake by the formats that are set, there is a way back.
    const auto recorder = Make({.width = 63});
    EXPECT_FALSE(recorder->Create(Name()));
    recorder->SetVideoOutputFormat(64, 48);
    EXPECT_TRUE(recorder->Create(Name()));
}

TEST_F(MediaTranscodeMP4Test, BadSamplesHarmNothing) {
    const Scene scene;
    Bytes frame = Frame(scene, 0);
    const auto push_all = [&](MediaTranscode& recorder) {
        recorder.SetVideoSample(frame.data(), scene.width, scene.height, scene.width * 4, 0, 0);
        recorder.SetAudioSample(frame.data(), 400, 0, 0);
    };
    auto recorder = Make(scene);
#ifdef NDEBUG
    push_all(*recorder);
    EXPECT_FALSE(recorder->Create(Name("nowhere/out.mp4")));
    recorder->Cleanup();
#endif
    ASSERT_TRUE(recorder->Create(Name()));
    push_all(*recorder);
    ASSERT_TRUE(recorder->Start());
    EXPECT_TRUE(recorder->Start());
    // A wrong stride, a frame of another size, a missing buffer, half a sample of sound.
    recorder->SetVideoSample(frame.data(), scene.width, scene.height - 8, scene.width * 4, 1, 0);
    recorder->SetVideoSample(frame.data(), scene.width, scene.height / 2, scene.width * 2, 2, 0);
    recorder->SetVideoSample(nullptr, scene.width, scene.height, scene.width * 4, 3, 0);
    recorder->SetAudioSample(frame.data(), 401, 0, 0);
    PushSine(*recorder, scene, 1);
    for (int i = 1; i < 25; ++i) PushFrame(*recorder, scene, frame, scene.FrameTime(i));
    WaitTaken(*recorder);
    recorder->Stop();
    recorder->Stop();
    recorder->Cleanup();
    EXPECT_EQ(Probe(Path(), "v", "nb_frames"), "25");
    const TranscodeStatistics counts = GetTranscodeStatistics(*recorder);
    EXPECT_EQ(counts.videoWritten, 25u);
    EXPECT_EQ(counts.videoDropped, 3u);
    EXPECT_EQ(counts.audioDropped, 1u);
    EXPECT_TRUE(counts.failed) << "the file lacks what was pushed";
    ExpectDecodes(Path());
#ifdef NDEBUG
    push_all(*recorder);
#endif

    // Sound without a format ends the recording; Stop still comes to its end.
    recorder = Make(no_sound);
    ASSERT_TRUE(recorder->Create(Name()));
    ASSERT_TRUE(recorder->Start());
    PushFrame(*recorder, no_sound, frame, 0);
    recorder->SetAudioSample(frame.data(), 400, 0, 0);
    PushFrame(*recorder, no_sound, frame, second);
    EXPECT_TRUE(WaitUntil([&] { return GetTranscodeStatistics(*recorder).failed; }));
    recorder->Stop();
}

}  // namespace
}  // namespace Vimbrel::test

// MP4 recorders as an application feeds them.
#pragma once

#include <gtest/gtest.h>
#include <objbase.h>

#include <mmreg.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "tests/fakes/CapturingLog.h"
#include "tests/support/Mp4Kit.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/Watchdog.h"
#include "tests/support/Wine.h"
#include "vimbrel/MediaTranscode.h"

namespace Vimbrel::test {

inline constexpr Scene no_sound = {.sound_rate = 0};

inline WAVEFORMATEX Format(const Scene& scene) {
    WAVEFORMATEX format{};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = static_cast<WORD>(scene.channels);
    format.nSamplesPerSec = scene.sound_rate;
    format.wBitsPerSample = static_cast<WORD>(scene.bits);
    format.nBlockAlign = static_cast<WORD>(scene.channels * scene.bits / 8);
    format.nAvgBytesPerSec = format.nBlockAlign * scene.sound_rate;
    return format;
}

// A recorder with the scene's formats.
inline std::unique_ptr<MediaTranscode> Make(const Scene& scene, bool audio_only = false) {
    auto recorder = CreateMediaTranscodeMP4(audio_only);
    recorder->SetVideoOutputFormat(static_cast<int>(scene.width), static_cast<int>(scene.height));
    recorder->SetVideoFps(static_cast<int>(scene.fps_num), static_cast<int>(scene.fps_den));
    recorder->SetVideoQuality(2);
    const WAVEFORMATEX format = Format(scene);
    if (scene.sound_rate != 0) recorder->SetAudioOutputFormat(&format, nullptr);
    return recorder;
}

inline void PushFrame(MediaTranscode& recorder, const Scene& scene, const Bytes& pixels,
                      std::int64_t time) {
    recorder.SetVideoSample(const_cast<std::uint8_t*>(pixels.data()), scene.width, scene.height,
                            scene.width * 4, time, scene.FrameTime(1));
}

inline void PushSound(MediaTranscode& recorder, const Scene& scene, std::int64_t first,
                      std::size_t count, const std::function<double(std::int64_t)>& wave,
                      std::int64_t base = 0) {
    Bytes sound = Sound(scene, first, count, wave);
    recorder.SetAudioSample(sound.data(), static_cast<unsigned>(sound.size()),
                            base + first * second / scene.sound_rate,
                            static_cast<std::int64_t>(count) * second / scene.sound_rate);
}

// A sine in blocks of 20 ms.
inline void PushSine(MediaTranscode& recorder, const Scene& scene, double seconds) {
    const std::size_t block = scene.sound_rate / 50;
    for (std::int64_t first = 0; static_cast<double>(first) < seconds * scene.sound_rate;
         first += static_cast<std::int64_t>(block)) {
        PushSound(recorder, scene, first, block, [&](std::int64_t i) { return Sine(scene, i); });
    }
}

// Stop drops what waits.
inline void WaitTaken(MediaTranscode& recorder) {
    const auto waits = [&] {
        const TranscodeStatistics counts = GetTranscodeStatistics(recorder);
        return counts.videoTaken != counts.videoWritten + counts.videoDropped ||
               counts.audioTaken != counts.audioWritten + counts.audioDropped;
    };
    EXPECT_TRUE(WaitUntil([&] { return !waits(); }, std::chrono::seconds(60)));
}

class MediaTranscodeMP4Test : public testing::Test {
protected:
    void SetUp() override {
        if (RunsUnderWine())
            GTEST_SKIP()
                << "Wine 8 ends the program in MFCreateTranscodeProfile, which it does not have";
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        TakeLog();
    }
    void TearDown() override {
        if (!RunsUnderWine()) CoUninitialize();
    }

    std::wstring Name(const std::string& name = "out.mp4") const {
        return (folder / name).wstring();
    }
    std::string Path(const std::string& name = "out.mp4") const { return (folder / name).string(); }

    // Frames and as much sound, one after the other as time goes on.
    void Record(const Scene& scene, int frames, const std::string& name = "out.mp4") const {
        const auto recorder = Make(scene);
        ASSERT_TRUE(recorder->Create(Name(name)));
        ASSERT_TRUE(recorder->Start());
        std::int64_t samples = 0;
        for (int i = 0; i < frames; ++i) {
            while (scene.sound_rate != 0 &&
                   samples * second / scene.sound_rate < scene.FrameTime(i + 1)) {
                PushSound(*recorder, scene, samples, 441,
                          [&](std::int64_t sample) { return Sine(scene, sample); });
                samples += 441;
            }
            PushFrame(*recorder, scene, Frame(scene, i), scene.FrameTime(i));
        }
        WaitTaken(*recorder);
        recorder->Stop();
        recorder->Cleanup();
        EXPECT_EQ(GetTranscodeStatistics(*recorder).videoWritten,
                  static_cast<std::uint64_t>(frames));
    }

    const Watchdog watchdog{"MediaTranscodeMP4Test", std::chrono::seconds(110)};
    const TempFolder folder;
};

}  // namespace Vimbrel::test

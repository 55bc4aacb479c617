// The sound of media files on a sound server: level, pitch, rate, in step with the pictures, and
// after the server's end.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/fakes/CapturingLog.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/Rounds.h"
#include "tests/support/Sanitized.h"
#include "tests/support/SinkRecorder.h"
#include "tests/support/SoundServer.h"
#include "tests/support/Tone.h"
#include "tests/support/Watchdog.h"
#include "vimbrel/MediaSourceDS.h"

namespace Vimbrel::test {
namespace {

using State = MediaSource::State;

constexpr int rate = SinkRecorder::rate;
constexpr std::chrono::seconds close_bound(sanitized ? 5 : 1);

// When pictures were shown, by the clock that recordings use.
class Flashes final : public MediaSource::Dispatcher {
public:
    void OnStateChanged(MediaSource*, State, State) override {}
    void OnVideoSample(MediaSource*, unsigned char* pixels, int, int, int stride, std::int64_t,
                       std::int64_t) override {
        LARGE_INTEGER now{};
        QueryPerformanceCounter(&now);
        const std::lock_guard guard(lock);
        ++shown;
        if (NumberOf(pixels, stride) % 25 == 0) times.push_back(now.QuadPart);
    }
    void OnAudioSample(MediaSource*, unsigned char*, int, std::int64_t, std::int64_t) override {}
    std::vector<LONGLONG> Times() {
        const std::lock_guard guard(lock);
        return times;
    }

    std::atomic<int> shown{0};

private:
    std::mutex lock;
    std::vector<LONGLONG> times;
};

class MediaSound : public testing::Test {
protected:
    static void SetUpTestSuite() {
        folder = new TempFolder;
        WriteNumberedPictures(*folder, 250);
        Write("tone.mkv", 10, "1");
    }
    // The pictures again and again with a tone, which is heard while `sounds` is not 0.
    static void Write(const char* file, int seconds, const char* sounds) {
        const std::string lasts = std::to_string(seconds);
        folder->Run(
            "ffmpeg -nostdin -loglevel error -stream_loop -1 -f rawvideo -pix_fmt yuv420p "
            "-s 64x48 -r 25 -i numbers.yuv -f lavfi -i \"aevalsrc='0.5*sin(2*PI*1000*t)*" +
            std::string(sounds) + "':s=48000\" -t " + lasts +
            " -c:v libx264 -qp 4 -g 25 -c:a pcm_s16le -threads 1 " + file);
    }
    static void TearDownTestSuite() {
        delete folder;
        folder = nullptr;
    }
    explicit MediaSound(std::chrono::seconds patience = std::chrono::seconds(90))
        : watchdog("sound of media files", patience) {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        source.SetDispatcher(&flashes);
        source.SetAudioRenderDevice(L"Speakers");
        TakeLog();
    }
    ~MediaSound() override {
        source.Close();
        CoUninitialize();
    }
    bool Open(const char* file) {
        source.SetFileName((*folder / file).wstring().c_str(), true);
        return source.Open() && source.GetMediaInfo().hasAudio;
    }
    // A quarter of a second of the tone. From the beginning each time: a busy machine must not
    // reach the end of the file.
    ToneFit Hear(SinkRecorder& recorder, double frequency) {
        ToneFit fit;
        EXPECT_TRUE(WaitUntil([&] {
            EXPECT_TRUE(source.Seek(0));
            EXPECT_TRUE(recorder.Renew(rate));
            const std::vector<double> all = recorder.Samples();
            fit = FitTone({all.end() - rate / 4, all.end()}, frequency, rate);
            return fit.snr_db > 20;
        })) << frequency
            << " Hz: " << fit.snr_db << " dB";
        return fit;
    }

    const Watchdog watchdog;
    SoundServer server{SoundServerKind::pulse_audio};
    Flashes flashes;
    MediaSourceDS source;
    inline static TempFolder* folder = nullptr;
};

TEST_F(MediaSound, VolumePitchAndRateAreHeard) {
    SinkRecorder recorder;
    ASSERT_TRUE(Open("tone.mkv"));
    ASSERT_TRUE(source.SetVolume(100));
    ASSERT_TRUE(source.Play());
    const double whole = Hear(recorder, 1000).amplitude;
    EXPECT_NEAR(whole, 16384, 200);
    EXPECT_TRUE(WaitUntil([&] { return std::abs(source.GetAudioMeter(1) + 9.03) < 0.1; }));
    ASSERT_TRUE(source.SetVolume(50));
    // The new level comes when what was written ahead has been played.
    EXPECT_TRUE(WaitUntil(
        [&] { return std::abs(Hear(recorder, 1000).amplitude - whole / 2) < whole / 200; }));
    EXPECT_FALSE(source.SetVolume(150));
    ASSERT_TRUE(source.SetVolume(100));
    source.SetRate(200);
    Hear(recorder, 2000);
    source.SetRate(50);
    Hear(recorder, 500);
    source.SetRate(100);
    ASSERT_TRUE(source.SetPitch(200));
    Hear(recorder, 2000);
    EXPECT_EQ(source.GetPitch(), 200);
    ASSERT_TRUE(source.SetVolume(0));
    EXPECT_TRUE(source.Seek(0));
    EXPECT_TRUE(WaitUntil([&] {
        recorder.Renew(rate / 10);
        for (const double sample : recorder.Samples()) {
            if (sample != 0) return false;
        }
        return true;
    }));
}

class InStep : public MediaSound {
protected:
    InStep() : MediaSound(std::chrono::seconds(1000)) {}
    // How much later than its flash each beep is, in milliseconds, of so many seconds of sound.
    std::vector<double> Listen(int seconds) {
        EXPECT_TRUE(recorder.Renew(static_cast<std::size_t>(seconds) * rate));
        const std::vector<double> samples = recorder.Samples();
        const std::vector<LONGLONG> times = recorder.Times();
        const std::vector<LONGLONG> shown = flashes.Times();
        std::vector<double> found;
        std::size_t quiet = 0;
        // The flash of a beep at the end may still be to come.
        for (std::size_t i = 0; i + rate / 4 < std::min(samples.size(), times.size()); ++i) {
            const bool loud = std::abs(samples[i]) > 3000;
            if (loud && quiet > rate / 5) {
                double nearest = 1e9;
                for (const LONGLONG each : shown) {
                    const double offset = static_cast<double>(times[i] - each) / 10'000;
                    if (std::abs(offset) < std::abs(nearest)) nearest = offset;
                }
                found.push_back(nearest);
            }
            quiet = loud ? 0 : quiet + 1;
        }
        return found;
    }
    // So many times that long, each after a seek with `seeks`.
    void Hear(const std::string& what, int times, int seconds, bool seeks = false) {
        std::vector<double> heard;
        // On a busy machine sound may begin late.
        for (int i = 0; i < times || (heard.empty() && i < times + 5); ++i) {
            EXPECT_TRUE(!seeks || source.Seek(3 * i + 0.4));
            const std::vector<double> found = Listen(seconds);
            heard.insert(heard.end(), found.begin(), found.end());
        }
        ASSERT_FALSE(heard.empty()) << what;
        std::sort(heard.begin(), heard.end());
        const double median = heard[heard.size() / 2];
        const auto close = std::count_if(heard.begin(), heard.end(),
                                         [](double each) { return std::abs(each) < 20; });
        std::printf(
            "%s: %zu beeps, %.1f to %.1f ms after their flashes, median %.1f ms, %td within 20 "
            "ms\n",
            what.c_str(), heard.size(), heard.front(), heard.back(), median, close);
        if (is_long) {
            EXPECT_LT(std::abs(median), 20.0) << what;
        }
        all.insert(all.end(), heard.begin(), heard.end());
    }

    const int length = Rounds(2);
    const bool is_long = length >= 60;
    SinkRecorder recorder;
    std::vector<double> all;
};

// VIMBREL_ROUNDS is the length of the last part, in seconds.
TEST_F(InStep, FlashesAndBeepsComeTogether) {
    // A beep with every twenty-fifth picture.
    Write("beeps.mkv", length + 60, "lt(mod(t,1),0.08)");
    ASSERT_TRUE(Open("beeps.mkv"));
    ASSERT_TRUE(source.Play());
    Hear("start", 1, 2);
    Hear("seeks", is_long ? 10 : 2, 2, true);
    for (const int percent : {50, 200, 100}) {
        source.SetRate(percent);
        Hear("rate " + std::to_string(percent), is_long ? 3 : 1, 1 + 200 / percent);
    }
    Hear("long", length / 2, 2);
    // On a busy machine single pictures are late; sound that is not moved to its place is a quarter
    // of a second off each time.
    std::sort(all.begin(), all.end());
    EXPECT_LT(std::abs(all[all.size() / 2]), 100.0);
}

enum class Loss { server_killed, server_frozen, sink_unloaded };

class LostOutput : public MediaSound, public testing::WithParamInterface<Loss> {
protected:
    void Lose() {
        switch (GetParam()) {
            case Loss::server_killed:
                return server.Kill();
            case Loss::server_frozen:
                return server.Freeze();
            case Loss::sink_unloaded:
                server.Control("unload-module module-null-sink");
        }
    }
    // The log's line may come later than the pictures.
    static bool Told() {
        return WaitUntil([] {
            for (const std::string& text : TakeErrors()) {
                if (text.find("Sound output is gone") != std::string::npos) return true;
            }
            return false;
        });
    }
};

TEST_P(LostOutput, PicturesGoOnByTheClock) {
    ASSERT_TRUE(Open("tone.mkv"));
    ASSERT_TRUE(source.Play());
    ASSERT_TRUE(WaitUntil([&] { return flashes.shown > 5; }));
    Lose();
    const double place = source.GetCurrentPosition();
    const int before = flashes.shown;
    EXPECT_TRUE(WaitUntil([&] { return flashes.shown > before + 25; }));
    EXPECT_GE(source.GetCurrentPosition(), place + 0.9);
    EXPECT_TRUE(source.Seek(3));
    EXPECT_TRUE(source.Pause());
    EXPECT_TRUE(source.Play());
    // A frozen server is not known to be gone.
    EXPECT_TRUE(GetParam() == Loss::server_frozen || Told());
    const auto begin = std::chrono::steady_clock::now();
    source.Close();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, close_bound);
}

INSTANTIATE_TEST_SUITE_P(All, LostOutput,
                         testing::Values(Loss::server_killed, Loss::server_frozen,
                                         Loss::sink_unloaded));

}  // namespace
}  // namespace Vimbrel::test

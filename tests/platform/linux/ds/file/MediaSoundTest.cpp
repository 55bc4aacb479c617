// The sound of media files on a sound server: level, pitch, rate, in step with the pictures, and
// after the server's end.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/fakes/CapturingLog.h"
#include "tests/support/MediaFiles.h"
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
        // A steady tone, and a beep with every twenty-fifth picture.
        const std::string pictures =
            "ffmpeg -nostdin -loglevel error -f rawvideo -pix_fmt yuv420p -s 64x48 -r 25 "
            "-i numbers.yuv -f lavfi -i \"aevalsrc='0.5*sin(2*PI*1000*t)";
        const std::string end =
            ":d=10:s=48000\" -c:v libx264 -qp 4 -g 25 -c:a pcm_s16le -threads 1 ";
        folder->Run(pictures + "'" + end + "tone.mkv");
        folder->Run(pictures + "*lt(mod(t,1),0.08)'" + end + "beeps.mkv");
    }
    static void TearDownTestSuite() {
        delete folder;
        folder = nullptr;
    }
    MediaSound() {
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

    const Watchdog watchdog{"sound of media files"};
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

TEST_F(MediaSound, PlaysInStepWithThePictures) {
    SinkRecorder recorder;
    ASSERT_TRUE(Open("beeps.mkv"));
    ASSERT_TRUE(source.Play());
    // Where each beep begins, and the flash next to it.
    const auto offsets = [&] {
        const std::vector<double> samples = recorder.Samples();
        const std::vector<LONGLONG> times = recorder.Times();
        const std::vector<LONGLONG> shown = flashes.Times();
        std::vector<double> found;
        std::size_t quiet = 0;
        for (std::size_t i = 0; i < std::min(samples.size(), times.size()); ++i) {
            const bool loud = std::abs(samples[i]) > 3000;
            if (loud && quiet > rate / 3) {
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
    };
    // The sound may come before its picture, which a seek must not cut off.
    const auto heard = [&](std::size_t beeps) {
        return WaitUntil([&] {
            const std::vector<double> found = offsets();
            return found.size() >= beeps && std::abs(found.back()) < 200;
        });
    };
    ASSERT_TRUE(heard(3));
    for (int i = 0; i < 3; ++i) {
        const std::size_t before = offsets().size();
        ASSERT_TRUE(source.Seek(0.6 + i));
        ASSERT_TRUE(heard(before + 2));
    }
    std::vector<double> all = offsets();
    for (std::size_t i = 0; i < all.size(); ++i)
        RecordProperty("offset_ms_" + std::to_string(i), std::to_string(all[i]));
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

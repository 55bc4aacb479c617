// Many rounds of a media file with everything: a decoding device, two sound tracks on a sound
// server, subtitles.
#include <gtest/gtest.h>

#include "tests/fakes/CapturingLog.h"
#include "tests/fakes/FakeDecodingDevice.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/ProcessCounts.h"
#include "tests/support/Rounds.h"
#include "tests/support/SoundServer.h"
#include "tests/support/Watchdog.h"
#include "vimbrel/MediaSourceDS.h"

namespace Vimbrel::test {
namespace {

class Pictures final : public MediaSource::Dispatcher {
public:
    void OnStateChanged(MediaSource*, MediaSource::State, MediaSource::State) override {}
    void OnVideoSample(MediaSource*, unsigned char*, int, int, int, std::int64_t,
                       std::int64_t) override {
        ++shown;
    }
    void OnAudioSample(MediaSource*, unsigned char*, int, std::int64_t, std::int64_t) override {}
    bool Await() {
        const int before = shown;
        return WaitUntil([&] { return shown > before; });
    }

private:
    std::atomic<int> shown{0};
};

void WriteFile(const TempFolder& folder) {
    WriteNumberedPictures(folder, 100);
    folder.Write("lines.srt", std::string("1\n00:00:00,000 --> 00:00:04,000\nText\n"));
    folder.Run(
        "ffmpeg -nostdin -loglevel error -f rawvideo -pix_fmt yuv420p -s 64x48 -r 25 "
        "-i numbers.yuv -f lavfi -i sine=440:duration=4 -f lavfi -i sine=880:duration=4 "
        "-i lines.srt -map 0 -map 1 -map 2 -map 3 -c:v libx264 -qp 4 -bf 2 -g 20 -sc_threshold 0 "
        "-threads 1 all.mkv");
}

// A source of its own each time: one that is opened again keeps its list of subtitles.
void PlayOnce(const std::filesystem::path& file, int round) {
    Pictures pictures;
    MediaSourceDS source;
    source.SetDispatcher(&pictures);
    source.SetAudioRenderDevice(L"Speakers");
    source.SetAutoloadSubtitle(true);
    source.SetFileName(file.wstring().c_str(), true);
    ASSERT_TRUE(source.Open());
    ASSERT_TRUE(source.GetMediaInfo().hasAudio);
    ASSERT_TRUE(source.Play());
    EXPECT_TRUE(pictures.Await());
    EXPECT_TRUE(source.Seek(round % 30 / 10.0));
    EXPECT_TRUE(pictures.Await());
    EXPECT_TRUE(source.SetAudioStream(1 + round % 2));
    EXPECT_TRUE(pictures.Await());
    if (round % 3 == 0) source.Stop();
    source.Close();
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
    TakeLog();
}

TEST(FileRounds, LeaveNothingBehind) {
    const Watchdog watchdog("rounds of a file", std::chrono::seconds(900));
    const int rounds = Rounds(24);
    const TempFolder folder;
    WriteFile(folder);
    const SoundServer server(SoundServerKind::pulse_audio);
    setenv("VIMBREL_DECODING_DEVICE", "/dev/null", 1);
    const FakeDecodingDevice device;
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    ProcessCounts before;
    for (int round = 0; round < rounds && !HasFatalFailure(); ++round) {
        PlayOnce(folder / "all.mkv", round);
        if (round == rounds / 2) before = ProcessCounts::Now();
    }
    ExpectNothingLeft(before, 16'384);
    CoUninitialize();
    unsetenv("VIMBREL_DECODING_DEVICE");
}

}  // namespace
}  // namespace Vimbrel::test

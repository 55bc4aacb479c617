// A recorder whose file cannot grow any more, which nobody tells the application.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <random>
#include <thread>

#include "tests/support/Mp4Kit.h"
#include "tests/support/Watchdog.h"
#include "vimbrel/MediaTranscode.h"

namespace Vimbrel::test {
namespace {

// No file of this process grows beyond it, as on a full disk.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : handler(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit limit = {bytes, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &before);
        std::signal(SIGXFSZ, handler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit before{};
    void (*handler)(int);
};

TEST(RecorderFailure, AFullDiskEndsTheFileAndHoldsUpNobody) {
    const Watchdog watchdog("RecorderFailure");
    const Scene scene = {.width = 160, .height = 120, .sound_rate = 0};
    std::mt19937 random(3);
    Bytes noise(std::size_t{scene.width} * scene.height * 4);
    for (std::uint8_t& byte : noise) byte = static_cast<std::uint8_t>(random());
    for (const bool waiting : {true, false}) {
        SCOPED_TRACE(waiting ? "nothing waits when it is stopped"
                             : "frames wait when it is stopped");
        const TempFolder folder;
        const std::string path = (folder / "out.mp4").string();
        const auto recorder = CreateMediaTranscodeMP4(false);
        recorder->SetVideoOutputFormat(static_cast<int>(scene.width),
                                       static_cast<int>(scene.height));
        recorder->SetVideoQuality(2);
        {
            const FileSizeLimit limit(400 << 10);
            ASSERT_TRUE(recorder->Create((folder / "out.mp4").wstring()));
            ASSERT_TRUE(recorder->Start());
            std::uint64_t pushed = 0;
            for (int i = 0; i < 500; ++i, ++pushed) {
                noise[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(i);
                std::rotate(noise.begin(), noise.begin() + 997, noise.end());
                recorder->SetVideoSample(noise.data(), scene.width, scene.height, scene.width * 4,
                                         scene.FrameTime(i), 0);
            }
            // What comes after the failure is still taken, and dropped.
            for (int i = 0;
                 waiting && i < 60'000 && GetTranscodeStatistics(*recorder).videoWritten < pushed;
                 ++i) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            if (waiting) {
                EXPECT_EQ(GetTranscodeStatistics(*recorder).videoWritten, pushed);
            }
            recorder->Stop();
            recorder->Cleanup();
        }
        if (!waiting) continue;
        EXPECT_GT(ProbeNumber(path, "v", "nb_frames"), 10);
        EXPECT_LT(ProbeNumber(path, "v", "nb_frames"), 500);
        ExpectDecodes(path);
    }
}

}  // namespace
}  // namespace Vimbrel::test

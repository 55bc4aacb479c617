// Recorders whose file cannot grow any more, or whose session fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mfapi.h>
#include <mfidl.h>
#include <mmreg.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <random>
#include <thread>

#include "Source/record/MediaTranscodeGIF.h"
#include "com/ComObject.h"
#include "tests/fakes/CapturingLog.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/Mp4Kit.h"
#include "tests/support/WaitUntil.h"
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
            // When it is stopped early there may be few frames: not even one fits then.
            const FileSizeLimit limit(waiting ? 400 << 10 : 134 << 10);
            ASSERT_TRUE(recorder->Create((folder / "out.mp4").wstring()));
            ASSERT_TRUE(recorder->Start());
            std::uint64_t pushed = 0;
            for (int i = 0; i < 500; ++i, ++pushed) {
                noise[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(i);
                std::rotate(noise.begin(), noise.begin() + 997, noise.end());
                recorder->SetVideoSample(noise.data(), scene.width, scene.height, scene.width * 4,
                                         scene.FrameTime(i), 0);
            }
            const auto gone = [&] {
                const TranscodeStatistics counts = GetTranscodeStatistics(*recorder);
                return counts.videoWritten + counts.videoDropped;
            };
            // What comes after the failure is still taken, and dropped.
            if (waiting) {
                WaitUntil([&] { return gone() >= pushed; }, std::chrono::seconds(60));
                EXPECT_EQ(gone(), pushed);
                EXPECT_TRUE(GetTranscodeStatistics(*recorder).failed);
            }
            recorder->Stop();
            EXPECT_EQ(gone(), pushed);
            EXPECT_LT(GetTranscodeStatistics(*recorder).videoWritten, pushed);
            EXPECT_TRUE(GetTranscodeStatistics(*recorder).failed);
            recorder->Cleanup();
        }
        if (!waiting) continue;
        EXPECT_GT(ProbeNumber(path, "v", "nb_frames"), 10);
        EXPECT_LT(ProbeNumber(path, "v", "nb_frames"), 500);
        ExpectDecodes(path);
    }
}

// The frames of a GIF are written after they were taken, some of them when it ends.
TEST(RecorderFailure, ADiskThatIsFullForTheLastBytesIsReported) {
    constexpr unsigned side = 64;
    Bytes pixels(std::size_t{side} * side * 4, 255);
    for (std::size_t i = 0; i < pixels.size(); i += 4) pixels[i] = static_cast<std::uint8_t>(i / 7);
    rlim_t whole = 0;
    for (const rlim_t missing : {0, 1, 2000}) {
        SCOPED_TRACE(missing);
        const TempFolder folder;
        const auto recorder = CreateMediaTranscodeGIF();
        recorder->SetVideoOutputFormat(side, side);
        recorder->SetVideoFps(1000, 1);
        dynamic_cast<MediaTranscodeGIF&>(*recorder).SetVideoFpsAsVideo(true);
        recorder->Create((folder / "out.gif").wstring());
        {
            const FileSizeLimit limit(missing == 0 ? 1 << 20 : whole - missing);
            ASSERT_TRUE(recorder->Start());
            for (int i = 0; i < 2; ++i)
                recorder->SetVideoSample(pixels.data(), side, side, 0, 0, 0);
            WaitUntil([&] { return GetTranscodeStatistics(*recorder).videoWritten == 2; });
            recorder->Stop();
        }
        EXPECT_EQ(GetTranscodeStatistics(*recorder).videoWritten, 2u);
        EXPECT_EQ(GetTranscodeStatistics(*recorder).failed, missing != 0);
        if (missing == 0) whole = std::filesystem::file_size(folder / "out.gif");
    }
}

TEST(RecorderFailure, ARecordingWithoutASampleHasFailed) {
    const TempFolder folder;
    const std::unique_ptr<MediaTranscode> recorders[] = {
        CreateMediaTranscodeMP4(false), CreateMediaTranscodeMP4(true), CreateMediaTranscodeGIF()};
    for (const auto& recorder : recorders) {
        const WAVEFORMATEX format = {WAVE_FORMAT_PCM, 1, 44100, 88200, 2, 16, 0};
        recorder->SetAudioOutputFormat(&format, nullptr);
        recorder->SetVideoOutputFormat(64, 48);
        recorder->Create((folder / "out").wstring());
        ASSERT_TRUE(recorder->Start());
        recorder->Stop();
        EXPECT_TRUE(GetTranscodeStatistics(*recorder).failed);
    }
}

// Whichever thread of a recorder runs out of memory once: nothing ends the program, Stop returns,
// and what is lost is reported.
TEST(RecorderFailure, OneMissingAllocationOnAnyThreadIsReported) {
    const Watchdog watchdog("RecorderFailure");
    constexpr unsigned side = 16;
    Bytes pixels(std::size_t{side} * side * 4, 255);
    const TempFolder folder;
    for (const bool gif : {false, true}) {
        bool failed = true;
        for (int successes = 0; failed && successes < 2000; ++successes) {
            SCOPED_TRACE((gif ? "gif, allocation " : "mp4, allocation ") +
                         std::to_string(successes));
            const auto recorder = gif ? CreateMediaTranscodeGIF() : CreateMediaTranscodeMP4(false);
            recorder->SetVideoOutputFormat(side, side);
            recorder->SetVideoFps(gif ? 1000 : 25, 1);
            if (gif) dynamic_cast<MediaTranscodeGIF&>(*recorder).SetVideoFpsAsVideo(true);
            if (!recorder->Create((folder / "out").wstring()) && !gif) FAIL();
            const ScopedFailureElsewhere scarce(successes);
            if (recorder->Start()) {
                for (int i = 0; i < 3; ++i)
                    recorder->SetVideoSample(pixels.data(), side, side, side * 4, i * 400'000, 0);
                WaitUntil([&] {
                    const TranscodeStatistics counts = GetTranscodeStatistics(*recorder);
                    return counts.failed || counts.videoWritten + counts.videoDropped == 3;
                });
                recorder->Stop();
            }
            failed = scarce.HasFailed();
            const TranscodeStatistics counts = GetTranscodeStatistics(*recorder);
            EXPECT_TRUE(counts.failed || counts.videoWritten == 3);
            if (HasFailure()) return;
        }
        EXPECT_FALSE(failed) << "the allocations of a recording do not end";
    }
}

// A session that takes its topology, but whose source never starts.
class FailingSession final : public ComObject<Implements<IMFMediaSession, IMFMediaEventGenerator>> {
public:
    explicit FailingSession(ComPtr<IMFMediaSession> session) : real(std::move(session)) {}

    HRESULT STDMETHODCALLTYPE GetEvent(DWORD flags, IMFMediaEvent** event) override {
        return real->GetEvent(flags, event);
    }
    HRESULT STDMETHODCALLTYPE BeginGetEvent(IMFAsyncCallback* callback, IUnknown* state) override {
        return real->BeginGetEvent(callback, state);
    }
    HRESULT STDMETHODCALLTYPE EndGetEvent(IMFAsyncResult* result, IMFMediaEvent** event) override {
        return real->EndGetEvent(result, event);
    }
    HRESULT STDMETHODCALLTYPE QueueEvent(MediaEventType type, REFGUID extended, HRESULT status,
                                         const PROPVARIANT* value) override {
        return real->QueueEvent(type, extended, status, value);
    }
    HRESULT STDMETHODCALLTYPE SetTopology(DWORD flags, IMFTopology* topology) override {
        return real->SetTopology(flags, topology);
    }
    HRESULT STDMETHODCALLTYPE Start(const GUID*, const PROPVARIANT*) override {
        return real->QueueEvent(MESessionStarted, GUID_NULL, E_ACCESSDENIED, nullptr);
    }
    HRESULT STDMETHODCALLTYPE Close() override { return real->Close(); }
    HRESULT STDMETHODCALLTYPE Shutdown() override { return real->Shutdown(); }
    HRESULT STDMETHODCALLTYPE GetClock(IMFClock** clock) override { return real->GetClock(clock); }

private:
    const ComPtr<IMFMediaSession> real;
};

bool sessions_fail = false;

TEST(RecorderFailure, ASessionThatFailsBeforeTheFirstPullFailsStart) {
    const Watchdog watchdog("RecorderFailure");
    const TempFolder folder;
    const auto recorder = CreateMediaTranscodeMP4(false);
    recorder->SetVideoOutputFormat(64, 48);
    TakeLog();
    sessions_fail = true;
    ASSERT_TRUE(recorder->Create((folder / "out.mp4").wstring()));
    sessions_fail = false;
    EXPECT_FALSE(recorder->Start());
    EXPECT_FALSE(recorder->Start()) << "and stays failed";
    EXPECT_THAT(TakeErrors(),
                testing::Each("TranscodeMP4 - TranscodeSession Start failed - 0x80070005"));
    EXPECT_TRUE(GetTranscodeStatistics(*recorder).failed);
    recorder->Stop();
    ASSERT_TRUE(recorder->Create((folder / "out.mp4").wstring()));
    EXPECT_TRUE(recorder->Start()) << "another session may do";
    EXPECT_FALSE(GetTranscodeStatistics(*recorder).failed);
    recorder->Stop();
}

}  // namespace
}  // namespace Vimbrel::test

// The linker hands the library's calls to this one.
extern "C" HRESULT WINAPI __real_MFCreateMediaSession(IMFAttributes* configuration,
                                                      IMFMediaSession** session);
extern "C" HRESULT WINAPI __wrap_MFCreateMediaSession(IMFAttributes* configuration,
                                                      IMFMediaSession** session) {
    using namespace Vimbrel;
    ComPtr<IMFMediaSession> real;
    const HRESULT hr = __real_MFCreateMediaSession(configuration, real.Put());
    if (FAILED(hr)) return hr;
    if (test::sessions_fail) {
        *session = MakeCom<test::FailingSession>(std::move(real)).Detach();
    } else {
        *session = real.Detach();
    }
    return S_OK;
}

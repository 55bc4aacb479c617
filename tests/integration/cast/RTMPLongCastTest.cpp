// Casts of some length, and what of them arrives at a real server.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>

#include "tests/support/MarkedCast.h"
#include "tests/support/ProcessCounts.h"
#include "tests/support/Proxy.h"

namespace Vimbrel::test {
namespace {

// A cast in one of the framings, through a proxy of its own.
struct ProxiedCast {
    ProxiedCast(const RtmpServer& server, Framing framing, std::string stream)
        : key(std::move(stream)),
          proxy(server.port),
          cast(MakeCast(proxy.Url("live", key), framing)) {
        cast->SetCallback([this](int) { ++calls; });
    }

    const std::string key;
    std::atomic<int> calls{0};
    Proxy proxy;
    const std::unique_ptr<CMediaRTMPCast> cast;
};

// Of the connection from this process to the port. By itself the kernel may take half a minute of a
// small cast.
void LimitSendBuffer(std::uint16_t port) {
    for (int descriptor = 0; descriptor < 1024; ++descriptor) {
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) != 0 ||
            peer.sin_port != htons(port))
            continue;
        const int bytes = 32768;
        EXPECT_EQ(setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &bytes, sizeof bytes), 0);
    }
}

// A thread that was joined is still listed for a moment.
std::size_t CountThreadsAtRest() {
    WaitUntilStill([] { return ProcessCounts::Now().threads; });
    return ProcessCounts::Now().threads;
}

// With the one that a sanitizer starts beside the first of the program's.
std::size_t CountOwnThreads() {
    std::thread([] {}).join();
    return CountThreadsAtRest();
}

using Packets = std::vector<CastRecording::Packet>;

// A mark of picture and one of sound every two seconds of twenty.
void ExpectMarksInStep(const MarkedRecording& recording) {
    const std::vector<int> picture_marks = recording.PictureMarks();
    const std::vector<int> sound_marks = recording.SoundMarks();
    ASSERT_EQ(picture_marks.size(), 10U);
    ASSERT_EQ(sound_marks.size(), 10U);
    std::vector<int> apart;
    std::transform(sound_marks.begin(), sound_marks.end(), picture_marks.begin(),
                   std::back_inserter(apart), std::minus());
    std::sort(apart.begin(), apart.end());
    // The encoder's frame of silence is 23 ms, and the sound may be a tenth of a second off the
    // clock; some marks may come from a moment at which the machine was held up.
    EXPECT_NEAR(apart[apart.size() / 2], 23, 100);
    EXPECT_NEAR(apart.front(), 23, 300);
    EXPECT_NEAR(apart.back(), 23, 300);
}

class RTMPLongCast : public testing::Test {
protected:
    void Start() {
        for (auto* one : casts) ASSERT_EQ(one->cast->Start(), RTMPCAST_OK);
    }
    // The same to both, until all of it has gone out.
    void Play(int frames) {
        const Casts both{native.cast.get(), standard.cast.get()};
        Pace(
            frames, block_samples,
            [&](int number) {
                GivePicture(both, number);
                ++given_pictures;
            },
            [&](int first) {
                GiveSound(both, first);
                ++given_blocks;
            });
        for (auto* one : casts) WaitUntilStill([&] { return one->proxy.forwarded.load(); });
    }

    const std::size_t threads = CountOwnThreads();
    RtmpServer server;
    ProxiedCast native{server, Framing::Native, "native"};
    ProxiedCast standard{server, Framing::Standard, "standard"};
    const std::array<ProxiedCast*, 2> casts{&native, &standard};
    std::atomic<int> given_pictures{0};
    std::atomic<int> given_blocks{0};
};

TEST_F(RTMPLongCast, PictureAndSoundArriveWholeAndInStep) {
    constexpr int frames = 600;
    Start();
    Play(frames);
    for (auto* one : casts) {
        SCOPED_TRACE(one->key);
        one->cast->Stop();
        const MarkedRecording recording(server, one->key);
        EXPECT_EQ(recording.numbers, NumbersUpTo(frames));
        recording.ExpectSound(frames * samples_per_picture);

        const Packets pictures = recording.Pictures();
        ASSERT_EQ(pictures.size(), std::size_t{frames});
        ExpectRising(pictures, 33, 34);
        const Packets sound = recording.Packets("a");
        if (one == &standard) {
            // A packet of picture a frame, and the sound by its length.
            EXPECT_EQ(recording.Packets("v").size(), pictures.size());
            ExpectSteadySound(sound);
        } else {
            // By the clock, at which blocks of another length than the encoder's come.
            ExpectRising(sound, 0, 400);
        }
        // They must not drift.
        EXPECT_NEAR(sound.back().time,
                    static_cast<double>(sound.size() - 1) * samples_per_frame * 10 / 441, 150);

        ExpectMarksInStep(recording);

        // A second is over with the 31st picture after its start.
        constexpr std::size_t window = 31;
        constexpr std::size_t last = (frames - 1) / window * window;
        const auto bit_rate = [&](std::size_t from, int more_bytes = 0) {
            double bytes = more_bytes;
            for (std::size_t i = from + 1; i <= last; ++i) bytes += pictures[i].size;
            return bytes * 8000 / (pictures[last].time - pictures[from].time);
        };
        // The meter starts with the first message: of this framing, the first small piece of the
        // first picture.
        const double average = bit_rate(0, one == &native ? pictures[0].size : 0);
        EXPECT_NEAR(one->cast->GetCurrentBitRate(), bit_rate(last - window),
                    bit_rate(last - window) / 100);
        EXPECT_NEAR(one->cast->GetAverageBitRate(), average, average / 100);
    }
}

TEST_F(RTMPLongCast, AServerThatPausesHalfAMinuteLosesNothing) {
    constexpr int frames = 32 * 30;
    Start();
    for (auto* one : casts) LimitSendBuffer(one->proxy.port);
    std::thread pause([&] {
        std::this_thread::sleep_for(500ms);
        for (auto* one : casts) one->proxy.paused = true;
        const int pictures = given_pictures;
        const int blocks = given_blocks;
        std::this_thread::sleep_for(8s);
        const std::array<int, 2> rates{native.cast->GetAverageBitRate(),
                                       standard.cast->GetAverageBitRate()};
        std::this_thread::sleep_for(22s);
        // Nothing has gone out since the network was full.
        EXPECT_EQ(native.cast->GetAverageBitRate(), rates[0]);
        EXPECT_EQ(standard.cast->GetAverageBitRate(), rates[1]);
        // The application has gone on all the while.
        EXPECT_GT(given_pictures - pictures, 30 * 30 - 60);
        EXPECT_GT(given_blocks - blocks, 30 * 44 - 100);
        for (auto* one : casts) one->proxy.paused = false;
    });
    Play(frames);
    pause.join();
    for (auto* one : casts) one->cast->Stop();
    // Those of the proxies go with the casts'.
    EXPECT_EQ(CountThreadsAtRest(), threads);
    for (auto* one : casts) {
        SCOPED_TRACE(one->key);
        EXPECT_EQ(one->calls, 0);
        const MarkedRecording recording(server, one->key);
        EXPECT_EQ(recording.numbers, NumbersUpTo(frames));
        recording.ExpectSound(frames * samples_per_picture);
        ExpectRising(recording.Pictures(), 33, 34);
        // In the other framing sound is stamped when it is sent.
        if (one == &standard) ExpectSteadySound(recording.Packets("a"));
    }
}

// One goes on when its server reads again, and the other's server hangs up.
TEST_F(RTMPLongCast, StopInAPauseWaitsForTheServerAndDropsWhatWaits) {
    constexpr int frames = 120;
    Start();
    for (auto* one : casts) {
        LimitSendBuffer(one->proxy.port);
        one->proxy.paused = true;
    }
    Play(frames);
    std::vector<std::future<void>> stops;
    for (auto* one : casts)
        stops.push_back(std::async(std::launch::async, [one] { one->cast->Stop(); }));
    for (auto& stop : stops) EXPECT_EQ(stop.wait_for(300ms), std::future_status::timeout);
    standard.proxy.cut_after = 0;
    for (auto* one : casts) one->proxy.paused = false;
    for (auto& stop : stops) EXPECT_EQ(stop.wait_for(20s), std::future_status::ready);
    stops.clear();
    EXPECT_EQ(CountThreadsAtRest(), threads);
    for (auto* one : casts) EXPECT_EQ(one->calls, 0);
    const MarkedRecording recording(server, native.key);
    EXPECT_LT(recording.numbers.size(), std::size_t{frames});
    EXPECT_EQ(recording.numbers, NumbersUpTo(static_cast<int>(recording.numbers.size())));
}

}  // namespace
}  // namespace Vimbrel::test

// Casts whose encoder is slower than the pictures come.
#include <gtest/gtest.h>

#include <mfapi.h>

#include <deque>
#include <semaphore>

#include "platform/linux/mf/transform/EncoderList.h"
#include "platform/linux/mf/transform/H264EncoderTransform.h"
#include "tests/fakes/ForwardingTransform.h"
#include "tests/support/MarkedCast.h"

namespace Vimbrel::test {
namespace {

using Packets = std::vector<CastRecording::Packet>;

// This system's encoder. It waits before each picture until the test lets it go on.
class HeldEncoder final : public ForwardingTransform<Implements<IMFTransform>> {
public:
    struct Gate {
        std::counting_semaphore<> begun{0};
        std::counting_semaphore<> go_on{0};
    };

    explicit HeldEncoder(Gate& holder)
        : ForwardingTransform(MakeCom<H264EncoderTransform>(nullptr).As<IMFTransform>()),
          gate(holder) {}

    HRESULT STDMETHODCALLTYPE ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) override {
        gate.begun.release();
        gate.go_on.acquire();
        return ForwardingTransform::ProcessInput(stream, sample, flags);
    }

private:
    Gate& gate;
};

// The test's own queue says what is dropped. The encoder takes one of three pictures, catches up,
// and falls behind again.
TEST(RTMPSlowEncoder, CostsTheOldestOfTwelveWaitingPicturesAndNothingElse) {
    constexpr int frames = 150;
    HeldEncoder::Gate gate;
    const ScopedHardwareEncoders listed(
        {{L"held", MFT_ENUM_FLAG_HARDWARE | MFT_ENUM_FLAG_SYNCMFT, [&](REFIID iid, void** object) {
              return MakeCom<HeldEncoder>(gate)->QueryInterface(iid, object);
          }}});
    RtmpServer server;
    const auto cast = MakeCast(server.Url("live", "key"), Framing::Standard);
    cast->SetHardwareEncoder(true);
    ASSERT_EQ(cast->Start(), RTMPCAST_OK);
    std::deque<int> waiting;
    std::vector<int> taken;
    // The encoder has always one at work, and is let go on only if there is another.
    const auto take = [&] {
        if (waiting.empty()) return;
        if (!taken.empty()) gate.go_on.release();
        EXPECT_TRUE(gate.begun.try_acquire_for(20s));
        taken.push_back(waiting.front());
        waiting.pop_front();
    };
    Pace(
        frames, block_samples,
        [&](int number) {
            GivePicture({cast.get()}, number);
            waiting.push_back(number);
            if (waiting.size() > 12) waiting.pop_front();
            const bool behind = number < 60 || number >= 90;
            if (!behind) take();
            if (!behind || number % 3 == 0) take();
        },
        [&](int first) { GiveSound({cast.get()}, first); });
    while (!waiting.empty()) take();
    gate.go_on.release(frames);
    WaitUntilStill([&] { return CastRecording::Size(server, "key"); });
    cast->Stop();

    const MarkedRecording recording(server, "key");
    EXPECT_EQ(recording.numbers, taken);
    const Packets pictures = recording.Pictures();
    ASSERT_EQ(pictures.size(), taken.size());
    for (std::size_t i = 0; i < taken.size(); ++i)
        EXPECT_NEAR(pictures[i].time, taken[i] * 1000.0 / 30, 1);
    recording.ExpectSound(frames * samples_per_picture);
}

}  // namespace
}  // namespace Vimbrel::test

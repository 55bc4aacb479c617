// How a stream starts and ends, and what is lost of it.
#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <new>
#include <thread>
#include <utility>

#include "tests/Source/cast/StreamKit.h"
#include "tests/fakes/CapturingLog.h"
#include "tests/support/WaitUntil.h"

namespace Vimbrel::test {
namespace {

using testing::ElementsAre;

void WaitForEnd(const StreamSender& sender) {
    EXPECT_TRUE(WaitUntil([&] { return !sender.IsConnected(); }));
}

class StreamEnd : public testing::TestWithParam<Framing> {};

INSTANTIATE_TEST_SUITE_P(Framings, StreamEnd, testing::Values(Framing::Native, Framing::Standard));

TEST_P(StreamEnd, MissingOrUnsentSequenceHeadersEndItInSilence) {
    const struct {
        const char* what;
        void (*prepare)(Stream&);
        bool sound;
    } cases[] = {
        {"no sound header", [](Stream& s) { s.encoders.aac.audio_specific_config.clear(); }, true},
        {"no SPS", [](Stream& s) { s.encoders.h264.sps.clear(); }, false},
        {"short SPS", [](Stream& s) { s.encoders.h264.sps.resize(7); }, false},
        {"no PPS", [](Stream& s) { s.encoders.h264.pps.clear(); }, false},
        {"short PPS", [](Stream& s) { s.encoders.h264.pps.resize(4); }, false},
        {"sound unsent",
         [](Stream& s) {
             s.server.on_send = [](const SentMessage& m) {
                 return m.type == RtmpMessage::TYPE_AUDIO ? 0 : 1;
             };
         },
         true},
        {"picture unsent",
         [](Stream& s) {
             s.server.on_send = [](const SentMessage& m) {
                 return m.type == RtmpMessage::TYPE_VIDEO ? 0 : 1;
             };
         },
         false},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        Stream stream(GetParam());
        row.prepare(stream);
        int calls = 0;
        stream.sender.SetCallback([&](int) { ++calls; });
        ASSERT_EQ(stream.Start(), RTMPCAST_OK);
        auto frame = row.sound ? SoundFrame({3}) : PictureFrame(0);
        stream.sender.Queue(frame);
        WaitForEnd(stream.sender);
        EXPECT_EQ(stream.server.alive, 0);
        stream.sender.Stop();
        EXPECT_EQ(calls, 0);
    }
}

TEST_P(StreamEnd, ALostLinkOrATimeoutIsToldOnce) {
    for (const bool timed_out : {false, true}) {
        std::vector<int> codes;
        {
            Stream stream(GetParam());
            stream.sender.SetCallback([&](int code) {
                codes.push_back(code);
                EXPECT_FALSE(stream.sender.IsConnected());
                EXPECT_EQ(stream.server.alive, 0);
                stream.sender.Stop();
            });
            ASSERT_EQ(stream.Start(), RTMPCAST_OK);
            stream.Give(PictureFrame(0), 2);
            (timed_out ? stream.server.timed_out : stream.server.connected) = timed_out;
            for (int i = 1; i < 4; ++i) {
                auto frame = PictureFrame(i * ms);
                stream.sender.Queue(frame);
            }
            WaitForEnd(stream.sender);
            EXPECT_EQ(stream.progress->sent, 1U);
            // The sender's end waits for the callback.
        }
        EXPECT_EQ(codes, std::vector<int>{RTMPCAST_CONNECTION_FAILED});
    }
}

TEST_P(StreamEnd, StopDropsWhatWaits) {
    Stream stream(GetParam());
    std::promise<void> at_work;
    std::promise<void> go_on;
    stream.server.on_send = [&, first = true](const SentMessage& message) mutable {
        if (message.type == RtmpMessage::TYPE_VIDEO && std::exchange(first, false)) {
            at_work.set_value();
            go_on.get_future().wait();
        }
        return 1;
    };
    ASSERT_EQ(stream.Start(), RTMPCAST_OK);
    for (int i = 0; i < 5; ++i) {
        auto frame = PictureFrame(i * ms);
        stream.sender.Queue(frame);
    }
    at_work.get_future().wait();
    auto order = make_encoded_frame(encoded_frame::type_stop, nullptr, 0);
    stream.sender.Queue(order);
    EXPECT_EQ(order, nullptr);
    // Two threads may stop it at once.
    std::atomic<int> stopping{0};
    const auto stop = [&] {
        ++stopping;
        stream.sender.Stop();
    };
    std::thread stoppers[] = {std::thread(stop), std::thread(stop)};
    EXPECT_TRUE(WaitUntil([&] { return stopping == 2; }));
    go_on.set_value();
    for (std::thread& stopper : stoppers) stopper.join();
    EXPECT_EQ(stream.Times(RtmpMessage::TYPE_VIDEO).size(), 2U) << "the header and one frame";
    EXPECT_EQ(stream.server.alive, 0);
}

// Frames of which a message was not sent do not count, and frames without a start code send
// nothing; neither ends the stream.
TEST_P(StreamEnd, LostFramesDoNotEndIt) {
    Stream stream(GetParam());
    stream.server.on_send = [](const SentMessage& message) -> int {
        if (message.time == 10) return 0;
        if (message.time == 20) throw std::bad_alloc();
        return 1;
    };
    ASSERT_EQ(stream.Start(), RTMPCAST_OK);
    stream.Give(PictureFrame(0), 2);
    stream.Give(PictureFrame(10 * ms), 1);
    auto lost = PictureFrame(20 * ms);
    stream.sender.Queue(lost);
    auto empty = PictureFrame(30 * ms, false, {});
    stream.sender.Queue(empty);
    stream.Give(PictureFrame(50 * ms), 1);
    EXPECT_TRUE(stream.sender.IsConnected());
    stream.sender.Stop();
    EXPECT_EQ(stream.progress->sent, 2U);
}

TEST(StreamSender, AFailedStartIsLoggedAndToldByItsCodeAlone) {
    const struct {
        void (*prepare)(Stream&);
        int status;
    } cases[] = {
        {[](Stream& s) { s.server.takes_url = false; }, RTMPCAST_BAD_URL},
        {[](Stream& s) { s.server.connects = false; }, RTMPCAST_CONNECTION_FAILED},
        {[](Stream& s) {
             s.server.commands = [](const auto&) -> std::vector<std::string> {
                 throw std::bad_alloc();
             };
         },
         RTMPCAST_CONNECTION_FAILED},
        {[](Stream& s) { s.server.on_send = [](const SentMessage&) { return 0; }; },
         RTMPCAST_STREAM_FAILED},
    };
    for (const auto& row : cases) {
        Stream stream(Framing::Standard);
        row.prepare(stream);
        int calls = 0;
        stream.sender.SetCallback([&](int) { ++calls; });
        TakeErrors();
        EXPECT_EQ(stream.Start(), row.status);
        EXPECT_THAT(TakeErrors(),
                    ElementsAre("RTMP on_start failed: " + std::to_string(row.status)));
        EXPECT_EQ(stream.server.alive, 0);
        stream.sender.Stop();
        EXPECT_EQ(calls, 0);
    }
}

}  // namespace
}  // namespace Vimbrel::test

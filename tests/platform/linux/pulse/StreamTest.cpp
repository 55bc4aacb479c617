// Streams on sound servers of the test's own.
#include <gtest/gtest.h>

#include <pulse/channelmap.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "platform/linux/pulse/PlaybackStream.h"
#include "platform/linux/pulse/PulseConnection.h"
#include "platform/linux/pulse/RecordStream.h"
#include "platform/linux/pulse/StreamFormat.h"
#include "tests/support/SoundServer.h"
#include "tests/support/WaitUntil.h"

namespace Vimbrel::test {
namespace {

using namespace std::chrono_literals;

constexpr DWORD rate = 44'100;

WAVEFORMATEX Pcm(WORD channels) {
    const auto align = static_cast<WORD>(channels * 2);
    return {WAVE_FORMAT_PCM, channels, rate, rate * align, align, 16, 0};
}

struct Order {
    WORD channels;
    const char* places;
};

constexpr Order orders[] = {
    {1, "mono"},
    {2, "front-left,front-right"},
    {3, "front-left,front-right,front-center"},
    {4, "front-left,front-right,rear-left,rear-right"},
    {5, "front-left,front-right,front-center,rear-left,rear-right"},
    {6, "front-left,front-right,front-center,lfe,rear-left,rear-right"},
    {7, "front-left,front-right,front-center,lfe,rear-left,rear-right,rear-center"},
    {8, "front-left,front-right,front-center,lfe,rear-left,rear-right,side-left,side-right"},
};

TEST(StreamFormat, ChannelsAreInTheOrderOfWaveFiles) {
    for (const Order& each : orders) {
        StreamFormat format{};
        ASSERT_EQ(StreamFormat::From(Pcm(each.channels), format), S_OK);
        char text[PA_CHANNEL_MAP_SNPRINT_MAX];
        EXPECT_STREQ(pa_channel_map_snprint(text, sizeof text, &format.channels), each.places);
    }
}

// A sink whose places are named one by one mixes what is called otherwise.
TEST(Streams, EveryChannelComesBackInItsPlace) {
    const SoundServer server(SoundServerKind::pulse_audio);
    std::shared_ptr<PulseConnection> connection;
    ASSERT_EQ(PulseConnection::Open(connection), S_OK);
    for (const WORD channels : {WORD{4}, WORD{6}, WORD{8}}) {
        const std::string sink = "sink" + std::to_string(channels);
        server.LoadModule("module-null-sink norewinds=1 format=s16le rate=44100 sink_name=" + sink +
                          " channels=" + std::to_string(channels) +
                          " channel_map=" + orders[channels - 1].places);
        std::unique_ptr<RecordStream> record;
        std::unique_ptr<PlaybackStream> playback;
        ASSERT_EQ(RecordStream::Open(connection, sink + ".monitor", Pcm(channels), record), S_OK);
        ASSERT_EQ(PlaybackStream::Open(connection, sink, Pcm(channels), playback), S_OK);
        ASSERT_EQ(record->Start(), S_OK);
        std::vector<std::int16_t> frame;
        for (WORD i = 0; i < channels; ++i)
            frame.push_back(static_cast<std::int16_t>((i + 1) * 1'000));
        std::vector<std::int16_t> sound;
        for (DWORD i = 0; i < rate / 4; ++i) sound.insert(sound.end(), frame.begin(), frame.end());
        // Sound that comes after the start is left out as far as the sink has played beyond it.
        ASSERT_EQ(playback->Write(sound.data(), sound.size() * 2), S_OK);
        ASSERT_EQ(playback->Start(), S_OK);
        std::vector<std::int16_t> heard;
        EXPECT_TRUE(WaitUntil([&] {
            RecordStream::Packet packet{};
            while (heard.empty() && record->Peek(packet) == S_OK && packet.frames > 0) {
                const auto* const first = reinterpret_cast<const std::int16_t*>(packet.data);
                if (const auto* const last = first + (packet.frames - 1) * channels; last[0] != 0)
                    heard.assign(last, last + channels);
                record->Drop();
            }
            return !heard.empty();
        }));
        // The server rounds.
        ASSERT_EQ(heard.size(), frame.size());
        for (WORD i = 0; i < channels; ++i)
            EXPECT_NEAR(heard[i], frame[i], 2) << "channel " << i << " of " << channels;
    }
}

// The reader handles the connection's messages, also those that answer other threads.
TEST(Streams, RequestsAreAnsweredWhileAReaderPolls) {
    for (const SoundServerKind kind : {SoundServerKind::pulse_audio, SoundServerKind::pipe_wire}) {
        const SoundServer server(kind);
        std::shared_ptr<PulseConnection> connection;
        ASSERT_EQ(PulseConnection::Open(connection), S_OK);
        const auto streams = [&] {
            const std::string listed = server.Control("list short source-outputs");
            return std::count(listed.begin(), listed.end(), '\n');
        };
        const auto before = streams();
        std::unique_ptr<RecordStream> record;
        ASSERT_EQ(RecordStream::Open(connection, "speakers.monitor", Pcm(2), record), S_OK);
        ASSERT_EQ(record->Start(), S_OK);
        EXPECT_GT(streams(), before);
        std::atomic<bool> ended{false};
        std::atomic<unsigned> packets{0};
        std::thread reader([&] {
            RecordStream::Packet packet{};
            while (!ended) {
                if (record->Peek(packet) != S_OK || packet.frames == 0) {
                    std::this_thread::sleep_for(1ms);
                    continue;
                }
                record->Drop();
                ++packets;
            }
        });
        for (int round = 0; round < 10; ++round) {
            const unsigned taken = packets;
            EXPECT_TRUE(WaitUntil([&] { return packets > taken; })) << round;
            EXPECT_EQ(record->SetVolume(round / 10.0), S_OK) << round;
            EXPECT_EQ(record->Stop(), S_OK) << round;
            EXPECT_EQ(record->Start(), S_OK) << round;
        }
        ended = true;
        reader.join();
        record.reset();
        EXPECT_TRUE(WaitUntil([&] { return streams() == before; }));
    }
}

// Who stops is interrupted; a stream that is stopped only waits for its start.
TEST(Streams, ASuspendedSinkEndsTheWaitForRoom) {
    const SoundServer server(SoundServerKind::pulse_audio);
    std::shared_ptr<PulseConnection> connection;
    ASSERT_EQ(PulseConnection::Open(connection), S_OK);
    std::unique_ptr<PlaybackStream> playback;
    ASSERT_EQ(PlaybackStream::Open(connection, "speakers", Pcm(2), playback), S_OK);
    const std::vector<std::uint8_t> sound(rate * 4);
    constexpr HRESULT pending = 99;
    std::atomic<HRESULT> result{pending};
    const auto write = [&] { result = playback->Write(sound.data(), sound.size()); };
    const auto written = [&] { return result != pending; };

    std::thread first(write);
    EXPECT_EQ(playback->Start(), S_OK);
    EXPECT_TRUE(WaitUntil(written));
    first.join();
    EXPECT_EQ(result, S_OK);

    server.Control("suspend-sink speakers 1");
    result = pending;
    std::thread second(write);
    EXPECT_TRUE(WaitUntil(written, 20s));
    playback->Interrupt(true);
    second.join();
    EXPECT_EQ(result, HRESULT_FROM_WIN32(ERROR_TIMEOUT));
}

TEST(Streams, ASinkThatIsNotThereIsNotReplacedByAnother) {
    for (const SoundServerKind kind : {SoundServerKind::pulse_audio, SoundServerKind::pipe_wire}) {
        const SoundServer server(kind);
        std::shared_ptr<PulseConnection> connection;
        ASSERT_EQ(PulseConnection::Open(connection), S_OK);
        std::unique_ptr<PlaybackStream> playback;
        EXPECT_EQ(PlaybackStream::Open(connection, "none", Pcm(2), playback),
                  HRESULT_FROM_WIN32(ERROR_NOT_FOUND));
        EXPECT_FALSE(playback);
        EXPECT_EQ(PlaybackStream::Open(connection, "speakers", Pcm(2), playback), S_OK);
        EXPECT_EQ(PlaybackStream::Open(connection, {}, Pcm(2), playback), S_OK);
    }
}

}  // namespace
}  // namespace Vimbrel::test

// The microphone's graph of a scripted device in the graph of the system, on both systems.
#include "Audio/capture/CAudioCapture.h"

#include <gmock/gmock.h>
#include <winuser.h>

#include "tests/Audio/AudioKit.h"
#include "tests/fakes/CapturingLog.h"
#include "tests/fakes/FakeMicrophone.h"
#include "tests/support/Wine.h"

namespace Vimbrel::test {
namespace {

using Samples = std::vector<std::int16_t>;

Bytes Square(std::size_t samples, std::int16_t height) {
    Bytes bytes(2 * samples);
    for (std::size_t i = 0; i < samples; ++i) {
        const auto value = static_cast<std::int16_t>(i / 2 % 2 ? height : -height);
        std::memcpy(bytes.data() + 2 * i, &value, 2);
    }
    return bytes;
}

TEST(VoiceLevel, OfOneAndTwoChannels) {
    const auto level = [](const Samples& samples, unsigned channels) {
        return VoiceLevel::Of(reinterpret_cast<const unsigned char*>(samples.data()),
                              static_cast<int>(samples.size() * 2), channels);
    };
    EXPECT_EQ(level({3, -4, 3, -4}, 1), std::sqrt(12.0)) << "the mean is whole";
    EXPECT_EQ(level({3, 4, -3, -4}, 2), 3) << "the middle is whole, towards zero";
    EXPECT_EQ(level({100, -100, 100, -100}, 2), 0);
    EXPECT_EQ(level({-32768, -32768}, 2), 32'768);
    EXPECT_EQ(level({1, 2, 3}, 2), 1) << "half a pair does not count";
    for (const unsigned channels : {0u, 3u, 6u})
        EXPECT_EQ(level({9, 9, 9, 9, 9, 9}, channels), std::nullopt);
    EXPECT_EQ(level({}, 1), std::nullopt);
    EXPECT_EQ(level({9}, 2), std::nullopt);
    // 2^31, which is negative, and 2^32.
    EXPECT_EQ(level({-32768, -32768}, 1), std::nullopt);
    EXPECT_EQ(level({-32768, -32768, -32768, -32768}, 1), 0);
}

// A packet of 1024 frames has 23.2 ms.
TEST(VoiceLevel, BeginsAndEndsAfterSoManyPackets) {
    const WAVEFORMATEX format = Pcm(2, 44'100, 16);
    VoiceLevel voice;
    const Bytes quiet = Square(2048, 500), loud = Square(2048, 501);
    // Packets until a change, and what it is.
    const auto until_change = [&](const Bytes& packet) {
        for (int i = 1; i <= 100; ++i) {
            if (const auto change = voice.Take(packet.data(), 4096, format))
                return std::tuple(i, change->speech, change->level);
        }
        return std::tuple(0, false, 0);
    };
    EXPECT_EQ(until_change(quiet), std::tuple(0, false, 0)) << "the level itself is silence";
    EXPECT_EQ(until_change(loud), std::tuple(10, true, 501)) << "250 / 23.2";
    EXPECT_EQ(until_change(loud), std::tuple(0, false, 0)) << "once";
    EXPECT_EQ(until_change(quiet), std::tuple(43, false, 500)) << "1000 / 23.2";
    for (int i = 0; i < 9; ++i) EXPECT_FALSE(voice.Take(loud.data(), 4096, format));
    EXPECT_FALSE(voice.Take(quiet.data(), 4096, format)) << "begins anew";
    for (int i = 0; i < 9; ++i) EXPECT_FALSE(voice.Take(loud.data(), 4096, format));
    voice.SetParams(500, 20, 20);
    EXPECT_EQ(until_change(loud), std::tuple(1, true, 501)) << "less than a packet";
    EXPECT_EQ(until_change(quiet), std::tuple(1, false, 500));
    // Without bytes per second it is the frames that count.
    WAVEFORMATEX rateless = format;
    rateless.nAvgBytesPerSec = 0;
    voice.SetParams(500, 20, 50);
    EXPECT_FALSE(voice.Take(loud.data(), 4096, rateless));
    EXPECT_TRUE(voice.Take(loud.data(), 4096, rateless));
    rateless.nSamplesPerSec = 0;
    EXPECT_FALSE(voice.Take(quiet.data(), 4096, rateless));
}

class CAudioCaptureTest : public testing::Test {
protected:
    explicit CAudioCaptureTest(const WAVEFORMATEX& format = Pcm(2, 44'100, 16)) : devices(format) {
        capture.SetDispatcher(
            [this](unsigned char* data, int size, std::int64_t start, std::int64_t duration) {
                packets.push_back({{data, data + size}, start, duration});
            });
    }
    ~CAudioCaptureTest() override {
        capture.Close();
        devices.newest.Reset();
        EXPECT_EQ(FakeMicrophone::alive, 0);
    }
    bool Start() { return capture.Start(L"Microphone") && capture.Run(); }

    struct Packet {
        Bytes bytes;
        std::int64_t start, duration;
        bool operator==(const Packet&) const = default;
    };

    ScopedCom com;
    FakeMicrophones devices;
    std::vector<Packet> packets;
    CAudioCapture capture;
};

TEST_F(CAudioCaptureTest, PacketsPassWithTheirAbsoluteStartAndDuration) {
    TakeLog();
    capture.SetVolume(30);
    capture.SetPitch(5);
    devices.prepare = [](FakeMicrophone& each) { each.segment_start = 7'000'000; };
    ASSERT_TRUE(Start());
    EXPECT_THAT(TakeLog(), testing::Contains(
                               testing::AllOf(testing::Field(&LogLine::file, "Audio\\AudioCapture"),
                                              testing::Field(&LogLine::line, 157),
                                              testing::Field(&LogLine::text,
                                                             "Start audio capture - Microphone: "
                                                             "2 / 16 / 44100 Hz"))));
    FakeMicrophone& microphone = *devices.newest.Get();
    EXPECT_EQ(microphone.mixer.level, 0.3);
    EXPECT_TRUE(microphone.mixer.enabled);
    EXPECT_EQ(microphone.pin.suggested.cbBuffer, 4096);
    EXPECT_EQ(microphone.pin.suggested.cBuffers, -1);
    EXPECT_EQ(capture.Format().nSamplesPerSec, 44'100u);

    capture.SetPitch(100);
    const Bytes sound = Pattern(4096);
    EXPECT_EQ(microphone.Speak(sound, 10, 232'209), S_OK);
    EXPECT_THAT(packets, testing::ElementsAre(Packet{sound, 7'000'010, 232'199}));
    capture.SetMuted(true);
    EXPECT_EQ(microphone.Speak(sound, 20, 30), S_OK);
    EXPECT_EQ(packets.back(), (Packet{Bytes(4096, 0), 7'000'020, 10}));
    capture.SetMuted(false);
    capture.SetVolume(100);
    EXPECT_EQ(microphone.mixer.level, 1.0);
    // The first packets of another pitch.
    capture.SetPitch(200);
    for (int i = 0; i < 20; ++i) EXPECT_EQ(microphone.Speak(sound, 20, 30), S_OK);
    EXPECT_NE(packets.back().bytes, sound);
    EXPECT_EQ(packets.back().bytes.size(), 4096u);
    capture.SetDispatcher(nullptr);
    EXPECT_EQ(microphone.Speak(sound, 0, 1), S_OK);
    EXPECT_EQ(packets.size(), 22u);
}

TEST_F(CAudioCaptureTest, FailuresLeaveAGraphThatTheNextStartReplaces) {
    EXPECT_FALSE(capture.Start(L"unknown"));
    EXPECT_FALSE(capture.Run());
    devices.prepare = [](FakeMicrophone& each) { each.has_pin = false; };
    EXPECT_FALSE(capture.Start(L"Microphone"));
    devices.prepare = [](FakeMicrophone& each) { each.run = E_ACCESSDENIED; };
    EXPECT_TRUE(capture.Start(L"Microphone"));
    // Wine's graph runs in spite of a filter that does not.
    EXPECT_EQ(capture.Run(), RunsUnderWine());
    devices.prepare = nullptr;
    EXPECT_TRUE(Start());
    capture.Close();
    EXPECT_EQ(capture.Format().nChannels, 0);
    capture.Close();
    EXPECT_TRUE(Start()) << "and after a close";
}

// Messages of the calling thread, since the window is none.
TEST_F(CAudioCaptureTest, SpeechIsPostedOnceAndThroughTheMute) {
    ASSERT_TRUE(Start());
    FakeMicrophone& microphone = *devices.newest.Get();
    WNDCLASSW window_class{};
    window_class.lpfnWndProc = DefWindowProcW;
    window_class.lpszClassName = L"speech";
    RegisterClassW(&window_class);
    HWND const window =
        CreateWindowExW(0, L"speech", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    ASSERT_TRUE(window);
    capture.SetVoiceDetectParams(500, 100, 100);
    capture.SetMuted(true);
    // The messages that come of a second of it.
    const auto posted = [&](std::int16_t height) {
        for (int i = 0; i < 43; ++i) microphone.Speak(Square(2048, height), 0, 1);
        std::vector<std::pair<WPARAM, LPARAM>> messages;
        MSG message{};
        while (PeekMessageW(&message, window, WM_APP, WM_APP, PM_REMOVE))
            messages.emplace_back(message.wParam, message.lParam);
        return messages;
    };
    using testing::ElementsAre;
    using testing::Pair;
    EXPECT_THAT(posted(900), testing::IsEmpty()) << "not asked for";
    capture.SetVoiceDetectWindow(window, WM_APP);
    capture.SetVoiceDetect(true);
    EXPECT_THAT(posted(900), ElementsAre(Pair(1, 900)));
    EXPECT_THAT(posted(900), testing::IsEmpty());
    EXPECT_THAT(posted(20), ElementsAre(Pair(0, 20)));
    capture.SetVoiceDetectWindow(window, 0);
    EXPECT_THAT(posted(900), testing::IsEmpty());
    DestroyWindow(window);
}

class EightBitCaptureTest : public CAudioCaptureTest {
protected:
    EightBitCaptureTest() : CAudioCaptureTest(Pcm(1, 8'000, 8)) {}
};

TEST_F(EightBitCaptureTest, IsNeverSpeech) {
    ASSERT_TRUE(Start());
    capture.SetVoiceDetect(true);
    capture.SetVoiceDetectWindow(reinterpret_cast<HWND>(1), 1);
    EXPECT_EQ(devices.newest->Speak(Pattern(4096), 0, 1), S_OK);
    EXPECT_EQ(packets.size(), 1u);
    EXPECT_EQ(capture.Format().wBitsPerSample, 8);
}

}  // namespace
}  // namespace Vimbrel::test

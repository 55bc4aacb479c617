// Streams that are not a plain file with pictures at a steady rate: from an address, with a cover,
// with pictures that last differently, with six channels.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/fakes/CapturingLog.h"
#include "tests/fakes/HttpFile.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/Tone.h"
#include "tests/support/Watchdog.h"
#include "vimbrel/DSRenderAudio.h"
#include "vimbrel/MediaSourceDS.h"

namespace Vimbrel::test {
namespace {

class SourcePictures final : public MediaSource::Dispatcher {
public:
    void OnStateChanged(MediaSource*, MediaSource::State, MediaSource::State) override {}
    void OnVideoSample(MediaSource*, unsigned char* pixels, int width, int height, int stride,
                       std::int64_t time, std::int64_t duration) override {
        reader.OnVideoSample(pixels, width, height, stride, time, duration);
    }
    void OnAudioSample(MediaSource*, unsigned char*, int, std::int64_t, std::int64_t) override {}

    NumberReader reader;
};

class OddStreams : public testing::Test {
protected:
    static void SetUpTestSuite() {
        folder = new TempFolder;
        WriteNumberedPictures(*folder, 250);
    }
    static void TearDownTestSuite() {
        delete folder;
        folder = nullptr;
    }
    OddStreams() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    ~OddStreams() override { CoUninitialize(); }

    static std::filesystem::path Make(const std::string& rest, const std::string& file) {
        folder->Run(
            "ffmpeg -nostdin -y -loglevel error -f rawvideo -pix_fmt yuv420p -s 64x48 -r 25 "
            "-i numbers.yuv " +
            rest + " -threads 1 " + file);
        return *folder / file;
    }
    static Bytes TransportStream(const std::string& filter = "") {
        return ReadBytes(Make(filter + " -c:v libx264 -qp 4 -bf 0 -g 5", "stream.ts"));
    }

    const Watchdog watchdog{"odd streams"};
    SourcePictures seen;
    inline static TempFolder* folder = nullptr;
};

// The position begins anew, but the stream cannot: what comes next is shown now.
TEST_F(OddStreams, WhatCannotBeSoughtGoesOnAfterAStop) {
    // Long, because a stop throws away what has been read ahead. No number below 3 comes again.
    const HttpFile server(TransportStream("-vf loop=loop=9:size=247:start=3"));
    MediaSourceDS source;
    source.SetDispatcher(&seen);
    source.SetFileName(server.Address().c_str(), true);
    ASSERT_TRUE(source.Open());
    EXPECT_FALSE(source.Seek(1));
    for (int round = 0; round < 3; ++round) {
        seen.reader.Clear();
        ASSERT_TRUE(source.Play());
        ASSERT_TRUE(WaitUntil([&] { return seen.reader.Count() >= 5; })) << round;
        EXPECT_LT(seen.reader.Taken().front().time, second) << round;
        source.Stop();
    }
    // Each run is further on.
    EXPECT_GT(seen.reader.Taken().front().number, 2);
    source.Close();
}

TEST_F(OddStreams, ClosesWithinASecondWhileTheServerIsSilent) {
    const Bytes stream = TransportStream();
    const HttpFile server(stream, stream.size() / 2);
    MediaSourceDS source;
    source.SetDispatcher(&seen);
    source.SetFileName(server.Address().c_str(), true);
    // A busy machine may be late now and then.
    constexpr int tries = 3;
    std::chrono::steady_clock::duration least = std::chrono::hours(1);
    for (int i = 0; i < tries && least > std::chrono::seconds(1); ++i) {
        ASSERT_TRUE(source.Open());
        source.SetRate(800);
        seen.reader.Clear();
        ASSERT_TRUE(source.Play());
        // All that came is shown, so that the reader waits for more.
        EXPECT_TRUE(WaitUntil([&] { return seen.reader.Count() > 100; }));
        const auto begin = std::chrono::steady_clock::now();
        source.Close();
        least = std::min(least, std::chrono::steady_clock::now() - begin);
    }
    EXPECT_LT(least, std::chrono::seconds(1));
}

TEST_F(OddStreams, NothingIsWrittenToTheTerminal) {
    const HttpFile nothing{Bytes()};
    const auto whole = ReadBytes(Make("-c:v libx264", "whole.mp4"));
    folder->Write("half.mp4", Bytes(whole.begin() + 40, whole.end()));
    folder->Write("noise.h264", Bytes(5000, 0x65));
    Bytes holed = TransportStream();
    for (std::size_t i = 3000; i < holed.size(); i += 97) holed[i] ^= 0x5A;
    folder->Write("holed.ts", holed);
    testing::internal::CaptureStderr();
    for (const std::wstring& name :
         {nothing.Address(), (*folder / "half.mp4").wstring(), (*folder / "noise.h264").wstring(),
          (*folder / "holed.ts").wstring()}) {
        FileGraphKit kit(&seen.reader);
        ComPtr<IBaseFilter> source;
        kit.graph.graph->AddSourceFilter(name.c_str(), nullptr, source.Put());
        if (source && kit.Open(*folder / "holed.ts") >= 0 && kit.graph.control->Run() >= 0)
            kit.graph.Event(30'000);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(OddStreams, PicturesKeepTheirOwnTimes) {
    FileGraphKit kit(&seen.reader);
    ASSERT_GE(kit.Open(Make("-frames:v 60 -vf "
                            "\"setpts='round(if(lt(N,20),N,20+(N-20)*3)/25/TB)'\" "
                            "-vsync vfr -c:v libx264 -qp 4 -bf 2",
                            "varying.mkv")),
              0);
    ASSERT_GE(kit.graph.control->Run(), 0);
    ASSERT_EQ(kit.graph.Event(30'000), EC_COMPLETE);
    const auto taken = seen.reader.Taken();
    ASSERT_EQ(taken.size(), 60u);
    for (int i = 0; i < 60; ++i) {
        EXPECT_EQ(taken[static_cast<std::size_t>(i)].number, i);
        EXPECT_NEAR(static_cast<double>(taken[static_cast<std::size_t>(i)].time),
                    (i < 20 ? i : 20 + (i - 20) * 3) * 400'000.0, 10'000.0);
    }
}

TEST_F(OddStreams, ACoverIsOnePicture) {
    folder->Run(
        "ffmpeg -nostdin -loglevel error -f rawvideo -pix_fmt yuv420p -s 64x48 -i numbers.yuv "
        "-frames:v 1 cover.png; ffmpeg -nostdin -loglevel error -f lavfi -i sine=duration=1 "
        "-i cover.png -map 0 -map 1 -c:v copy -disposition:v attached_pic song.mp3");
    FileGraphKit kit(&seen.reader);
    ASSERT_GE(kit.Open(*folder / "song.mp3"), 0);
    ASSERT_GE(kit.graph.control->Run(), 0);
    ASSERT_EQ(kit.graph.Event(30'000), EC_COMPLETE);
    ASSERT_EQ(seen.reader.Count(), 1u);
    EXPECT_EQ(seen.reader.Taken().front().number, 0);
}

class Sound final : public IDSRenderAudio::CDispatcher {
public:
    void OnAudioSample(unsigned char* data, int size, std::int64_t, std::int64_t) override {
        const auto* const from = reinterpret_cast<const std::int16_t*>(data);
        samples.insert(samples.end(), from, from + size / 2);
    }
    std::vector<double> samples;  // of the streaming thread, and of the test after the end
};

TEST_F(OddStreams, SixChannelsKeepTheirOrder) {
    folder->Run(
        "ffmpeg -nostdin -loglevel error -f lavfi -i \"aevalsrc='0.4*sin(2*PI*300*t)|"
        "0.4*sin(2*PI*500*t)|0.4*sin(2*PI*700*t)|0.4*sin(2*PI*900*t)|0.4*sin(2*PI*1100*t)|"
        "0.4*sin(2*PI*1300*t)':c=5.1:d=1:s=48000\" -c:a flac six.mkv");
    Sound sound;
    IDSRenderAudio* made = nullptr;
    CreateDSRenderAudio(&made);
    made->SetDispatcher(&sound);
    {
        TestGraph graph;
        ComPtr<IBaseFilter> source;
        ComPtr<IBaseFilter> decoder;
        ComPtr<IBaseFilter> sink;
        void* found = nullptr;
        made->QueryInterface(__uuidof(IBaseFilter), &found);
        sink.Attach(static_cast<IBaseFilter*>(found));
        graph.SetClock(nullptr);
        ASSERT_EQ(graph.graph->AddSourceFilter((*folder / "six.mkv").wstring().c_str(), nullptr,
                                               source.Put()),
                  S_OK);
        ASSERT_EQ(CreateObject(class_audio_decoder, decoder), S_OK);
        graph.graph->AddFilter(decoder.Get(), L"Decoder");
        graph.graph->AddFilter(sink.Get(), L"Sink");
        ComPtr<IPin> pin;
        ASSERT_EQ(source->FindPin(L"Audio", pin.Put()), S_OK);
        ASSERT_GE(graph.graph->RenderEx(pin.Get(), 1, nullptr), 0);
        ASSERT_GE(graph.control->Run(), 0);
        ASSERT_EQ(graph.Event(30'000), EC_COMPLETE);
        graph.control->Stop();
    }
    made->Release();
    ASSERT_EQ(sound.samples.size(), 6u * 48'000);
    for (std::size_t channel = 0; channel < 6; ++channel) {
        std::vector<double> one;
        for (std::size_t i = channel; i < sound.samples.size(); i += 6)
            one.push_back(sound.samples[i]);
        EXPECT_GT(FitTone(one, 300 + 200 * static_cast<double>(channel), 48'000).snr_db, 40);
    }
}

}  // namespace
}  // namespace Vimbrel::test

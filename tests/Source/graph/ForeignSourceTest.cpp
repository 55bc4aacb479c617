// Both sinks, and media sources, behind the system's own filters: an AVI file and a WAV file that
// the test writes.
#include <gtest/gtest.h>

#include <string>

#include "filters/Enumerators.h"
#include "tests/fakes/FakeDeviceLists.h"
#include "tests/support/GraphKit.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Watchdog.h"
#include "tests/support/Wine.h"
#include "vimbrel/DSRenderAudio.h"
#include "vimbrel/DSRenderVideo.h"
#include "vimbrel/MediaSourceDS.h"

namespace Vimbrel::test {
namespace {

constexpr int pictures = 25;
constexpr int width = 16;
constexpr int height = 8;

std::string Number(std::uint32_t value, int bytes = 4) {
    std::string text;
    for (int i = 0; i < bytes; ++i) text.push_back(static_cast<char>(value >> (8 * i)));
    return text;
}

std::string Chunk(const std::string& id, const std::string& data) {
    return id + Number(static_cast<std::uint32_t>(data.size())) + data +
           (data.size() % 2 != 0 ? std::string(1, '\0') : std::string());
}

// Bottom-up RGB24 at 25 pictures per second; each is grey by its number.
std::string AviFile() {
    const std::string header = Number(40000) + Number(0) + Number(0) + Number(0x10) +
                               Number(pictures) + Number(0) + Number(1) + Number(0) +
                               Number(width) + Number(height) + std::string(16, '\0');
    const std::string stream = "vidsDIB " + std::string(12, '\0') + Number(1) + Number(25) +
                               Number(0) + Number(pictures) + Number(width * height * 3) +
                               Number(0xFFFFFFFF) + Number(0) + Number(0) + Number(0, 2) +
                               Number(0, 2) + Number(width, 2) + Number(height, 2);
    const std::string format = Number(40) + Number(width) + Number(height) + Number(1, 2) +
                               Number(24, 2) + Number(0) + Number(width * height * 3) +
                               std::string(16, '\0');
    std::string movie = "movi";
    std::string index;
    for (int i = 0; i < pictures; ++i) {
        index += "00db" + Number(0x10) + Number(static_cast<std::uint32_t>(movie.size())) +
                 Number(width * height * 3);
        movie += Chunk("00db", std::string(width * height * 3, static_cast<char>(i * 10)));
    }
    const std::string list =
        Chunk("LIST", "hdrl" + Chunk("avih", header) +
                          Chunk("LIST", "strl" + Chunk("strh", stream) + Chunk("strf", format)));
    return Chunk("RIFF", "AVI " + list + Chunk("LIST", movie) + Chunk("idx1", index));
}

// Half a second of 16-bit stereo that climbs.
std::string WavFile() {
    const std::string format = Number(1, 2) + Number(2, 2) + Number(44100) + Number(176400) +
                               Number(4, 2) + Number(16, 2) + Number(0, 2);
    std::string data;
    for (std::uint32_t i = 0; i < 22050; ++i) data += Number(i, 2) + Number(i, 2);
    return Chunk("RIFF", "WAVE" + Chunk("fmt ", format) + Chunk("data", data));
}

struct Seen final : IDSRenderVideo::CDispatcher, IDSRenderAudio::CDispatcher {
    void OnVideoSample(unsigned char* pixels, int, int, int, std::int64_t time,
                       std::int64_t) override {
        last_grey = pixels[0];
        last_time = time;
        ++count;
    }
    void OnAudioSample(unsigned char*, int size, std::int64_t, std::int64_t) override {
        count += size;
    }
    std::atomic<int> count{0};
    std::atomic<int> last_grey{0};
    std::atomic<std::int64_t> last_time{0};
};

class ForeignSource : public testing::Test {
protected:
    template <class Sink>
    void Open(Sink* sink, const std::string& name, const std::string& contents) {
        const auto path = folder.Write(name, contents);
        void* found = nullptr;
        sink->QueryInterface(__uuidof(IBaseFilter), &found);
        filter.Attach(static_cast<IBaseFilter*>(found));
        graph.graph->AddFilter(filter.Get(), L"sink");
        ComPtr<IBaseFilter> source;
        ASSERT_GE(graph.graph->AddSourceFilter(path.wstring().c_str(), nullptr, source.Put()), 0);
        int rendered = 0;
        for (const ComPtr<IPin>& pin : PinsOf(*source.Get()))
            rendered += graph.graph->RenderEx(pin.Get(), 1, nullptr) >= 0 ? 1 : 0;
        ASSERT_EQ(rendered, 1);
        graph.SetClock(nullptr);
    }
    void PlayToTheEnd() {
        EXPECT_GE(graph.control->Run(), 0);
        LONG code = 0;
        EXPECT_TRUE(WaitUntil([&] { return (code = graph.Event(0)) == EC_COMPLETE; })) << code;
    }
    // The graph's end gives every reference back.
    template <class Sink>
    void Close(Sink* sink) {
        graph.control->Stop();
        filter.Reset();
        graph.control.Reset();
        graph.events.Reset();
        graph.graph.Reset();
        EXPECT_EQ(sink->Release(), 0u);
    }

    const Watchdog watchdog{"foreign source"};
    TempFolder folder;
    Seen seen;
    TestGraph graph;
    ComPtr<IBaseFilter> filter;
};

TEST_F(ForeignSource, AnAviFileIsSeenWholeAndAgainFromASeek) {
    IDSRenderVideo* sink = nullptr;
    CreateDSRenderVideo(&sink);
    sink->SetDispatcher(&seen);
    Open(sink, "numbers.avi", AviFile());
    EXPECT_TRUE(sink->IsConnected());
    EXPECT_EQ(sink->GetWidth(), 16u);
    EXPECT_EQ(sink->GetFrameRateNum(), 25u);
    EXPECT_GE(graph.control->Pause(), 0);
    OAFilterState state = 0;
    EXPECT_EQ(graph.control->GetState(20'000, &state), S_OK);
    EXPECT_EQ(seen.count, 0) << "the first picture waits";
    PlayToTheEnd();
    EXPECT_EQ(seen.count, pictures);
    EXPECT_EQ(seen.last_grey, (pictures - 1) * 10);
    seen.count = 0;
    graph.control->Pause();
    EXPECT_GE(graph.As<IMediaPosition>()->put_CurrentPosition(0.6), 0);
    PlayToTheEnd();
    EXPECT_EQ(seen.count, pictures - 15);
    Close(sink);
}

TEST_F(ForeignSource, AWavFileIsHeardWhole) {
    IDSRenderAudio* sink = nullptr;
    CreateDSRenderAudio(&sink);
    sink->SetDispatcher(&seen);
    Open(sink, "climb.wav", WavFile());
    WAVEFORMATEX format{};
    sink->GetFormat(&format);
    EXPECT_EQ(format.nSamplesPerSec, 44100u);
    PlayToTheEnd();
    EXPECT_EQ(seen.count, 88200);
    Close(sink);
}

using State = MediaSource::State;

// A whole source, with the test's own sound output. The outside splitter and decoders are not
// there, so that the system's own filters read the file.
class ForeignFile : public testing::Test, public MediaSource::Dispatcher {
protected:
    ForeignFile() {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        lists.outputs.push_back({L"DirectSound: Speakers", [this](REFIID iid, void** object) {
                                     renderer = MakeCom<TestRenderer>(MEDIASUBTYPE_PCM);
                                     return renderer->QueryInterface(iid, object);
                                 }});
        source.SetDispatcher(this);
        source.SetAudioRenderDevice(L"Speakers");
    }
    ~ForeignFile() override {
        source.Close();
        renderer.Reset();
        CoUninitialize();
    }
    void OnStateChanged(MediaSource*, State, State to) override { ends += to == State::Ended; }
    void OnVideoSample(MediaSource*, unsigned char* pixels, int, int, int, std::int64_t time,
                       std::int64_t duration) override {
        seen.OnVideoSample(pixels, 0, 0, 0, time, duration);
    }
    void OnAudioSample(MediaSource*, unsigned char*, int, std::int64_t, std::int64_t) override {}
    bool Open(const char* name, const std::string& contents, bool pictures_too) {
        source.SetFileName(folder.Write(name, contents).wstring().c_str(), pictures_too);
        return source.Open();
    }
    bool PlayToTheEnd() {
        return source.Play() && WaitUntil([&] {
                   MSG message;
                   while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
                       DispatchMessageW(&message);
                   return source.GetState() == State::Ended;
               });
    }

    const Watchdog watchdog{"foreign file"};
    TempFolder folder;
    FakeDeviceLists lists;
    ComPtr<TestRenderer> renderer;
    Seen seen;
    int ends = 0;
    MediaSourceDS source;
};

TEST_F(ForeignFile, AnAviFileIsPlayedAndSought) {
    ASSERT_TRUE(Open("numbers.avi", AviFile(), true));
    const MediaSource::MEDIA_INFO& info = source.GetMediaInfo();
    EXPECT_TRUE(info.hasVideo);
    EXPECT_FALSE(info.hasAudio);
    EXPECT_EQ(info.width, width);
    EXPECT_EQ(info.height, height);
    EXPECT_EQ(info.frameRate, 25.0);
    EXPECT_NEAR(info.duration, 1000.0, 1.0);
    ASSERT_TRUE(PlayToTheEnd());
    EXPECT_EQ(seen.count, pictures);
    EXPECT_EQ(ends, 1);
    source.Stop();
    EXPECT_TRUE(source.Seek(0.6));
    seen.count = 0;
    ASSERT_TRUE(PlayToTheEnd());
    EXPECT_EQ(seen.count, pictures - 15);
    EXPECT_EQ(seen.last_grey, (pictures - 1) * 10);
}

TEST_F(ForeignFile, AnAviFileEndsAtTheStopTime) {
    if (RunsUnderWine()) GTEST_SKIP() << "Wine's graph accepts a stop time and ignores it";
    ASSERT_TRUE(Open("numbers.avi", AviFile(), true));
    EXPECT_TRUE(source.SetStopTime(0.4));
    ASSERT_TRUE(PlayToTheEnd());
    EXPECT_EQ(seen.count, 10);
}

TEST_F(ForeignFile, AWavFileIsPlayedThroughThePitchFilter) {
    ASSERT_TRUE(Open("climb.wav", WavFile(), false));
    EXPECT_FALSE(source.GetMediaInfo().hasVideo);
    EXPECT_TRUE(source.GetMediaInfo().hasAudio);
    EXPECT_NEAR(source.GetMediaInfo().duration, 500.0, 1.0);
    EXPECT_EQ(source.GetPitch(), 100);
    EXPECT_TRUE(source.SetPitch(5));
    EXPECT_FALSE(source.SetVolume(50)) << "the test's output has no level";
    EXPECT_EQ(source.GetVolume(), 50);
    ASSERT_TRUE(PlayToTheEnd());
    EXPECT_GT(renderer->rendered, 0);
    EXPECT_EQ(source.GetPitch(), 10);
    EXPECT_EQ(ends, 1);
}

}  // namespace
}  // namespace Vimbrel::test

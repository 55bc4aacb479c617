// A media file to BGRA pictures and PCM without a clock, and seeks to pictures, against the ffmpeg
// program. Usage: media_playback FILE [ROUNDS]. Each figure is the least of alternating rounds.
#include <control.h>
#include <objbase.h>
#include <strmif.h>
#include <uuids.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <mutex>

#include "base/ObjectCreation.h"
#include "bench/ChildProcess.h"
#include "filters/Enumerators.h"
#include "filters/OutsideInterfaces.h"
#include "vimbrel/DSRenderAudio.h"
#include "vimbrel/DSRenderVideo.h"

namespace {

using Vimbrel::ComPtr;
using Vimbrel::bench::ChildCost;
using Vimbrel::bench::RunChild;

constexpr int seeks = 50;
constexpr LONG patience = 600'000;

// Signals the first picture after a seek.
class Sink final : public Vimbrel::IDSRenderVideo::CDispatcher,
                   public Vimbrel::IDSRenderAudio::CDispatcher {
public:
    void OnVideoSample(unsigned char*, int, int, int, std::int64_t, std::int64_t) override {
        const std::lock_guard guard(lock);
        ++pictures;
        changed.notify_one();
    }
    void OnAudioSample(unsigned char*, int, std::int64_t, std::int64_t) override {}
    void Await() {
        std::unique_lock guard(lock);
        changed.wait(guard, [&] { return pictures > 0; });
        pictures = 0;
    }

private:
    std::mutex lock;
    std::condition_variable changed;
    int pictures = 0;
};

class Player {
public:
    explicit Player(const char* file) {
        Check(Vimbrel::CreateObject(CLSID_FilterGraph, graph));
        const std::wstring name = std::filesystem::absolute(file).wstring();
        Check(graph->AddSourceFilter(name.c_str(), nullptr, source.Put()));
        for (const CLSID& clsid : {Vimbrel::class_video_decoder, Vimbrel::class_audio_decoder}) {
            ComPtr<IBaseFilter> filter;
            Check(Vimbrel::CreateObject(clsid, filter));
            graph->AddFilter(filter.Get(), nullptr);
        }
        AddSink(Vimbrel::CreateDSRenderVideo);
        AddSink(Vimbrel::CreateDSRenderAudio);
        graph.As<IMediaFilter>()->SetSyncSource(nullptr);
        for (const ComPtr<IPin>& pin : Vimbrel::PinsOf(*source.Get()))
            graph->RenderEx(pin.Get(), AM_RENDEREX_RENDERTOEXISTINGRENDERERS, nullptr);
        control = graph.As<IMediaControl>();
    }
    ~Player() { control->Stop(); }
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    void PlayToTheEnd() {
        Check(control->Run());
        LONG code = 0;
        LONG_PTR first = 0;
        LONG_PTR second = 0;
        Check(graph.As<IMediaEventEx>()->GetEvent(&code, &first, &second, patience));
    }
    // Milliseconds until the picture is there. The graph is stopped before and after.
    double SeekTo(double seconds) {
        const auto start = std::chrono::steady_clock::now();
        Check(graph.As<IMediaPosition>()->put_CurrentPosition(seconds));
        Check(control->Run());
        sink.Await();
        const std::chrono::duration<double, std::milli> taken =
            std::chrono::steady_clock::now() - start;
        control->Stop();
        return taken.count();
    }
    double Duration() {
        REFTIME duration = 0;
        graph.As<IMediaPosition>()->get_Duration(&duration);
        return duration;
    }

private:
    static void Check(HRESULT hr) {
        if (SUCCEEDED(hr)) return;
        std::fprintf(stderr, "failed - 0x%08X\n", static_cast<unsigned>(hr));
        std::exit(1);
    }
    template <class Made>
    void AddSink(void (*create)(Made**)) {
        Made* made = nullptr;
        create(&made);
        made->SetDispatcher(&sink);
        void* found = nullptr;
        made->QueryInterface(__uuidof(IBaseFilter), &found);
        ComPtr<IBaseFilter> filter;
        filter.Attach(static_cast<IBaseFilter*>(found));
        graph->AddFilter(filter.Get(), nullptr);
        made->Release();
    }

    Sink sink;
    ComPtr<IFilterGraph2> graph;
    ComPtr<IBaseFilter> source;
    ComPtr<IMediaControl> control;
};

void Keep(ChildCost& least, const ChildCost& cost) {
    least = {std::min(least.wall_s, cost.wall_s), std::min(least.cpu_s, cost.cpu_s),
             std::min(least.peak_mib, cost.peak_mib)};
}

void ComparePlayback(const std::string& self, const std::string& file, int rounds) {
    ChildCost ours{1e9, 1e9, 1e9};
    ChildCost theirs = ours;
    for (int i = 0; i < rounds; ++i) {
        Keep(ours, RunChild({self, "--play", file}));
        Keep(theirs,
             RunChild({"ffmpeg", "-nostdin", "-y", "-loglevel", "error", "-i", file, "-pix_fmt",
                       "bgra", "-f", "rawvideo", "/dev/null", "-f", "s16le", "/dev/null"}));
    }
    std::printf("playback     wall %.2f s / %.2f s = %.2f\n", ours.wall_s, theirs.wall_s,
                ours.wall_s / theirs.wall_s);
    std::printf("             CPU %.2f s / %.2f s = %.2f\n", ours.cpu_s, theirs.cpu_s,
                ours.cpu_s / theirs.cpu_s);
    std::printf("             peak %.0f MiB / %.0f MiB = %.2f\n", ours.peak_mib, theirs.peak_mib,
                ours.peak_mib / theirs.peak_mib);
}

double SeekByProgram(const std::string& file, double seconds) {
    return 1000 * RunChild({"ffmpeg", "-nostdin", "-loglevel", "error", "-ss",
                            std::to_string(seconds), "-i", file, "-map", "0:v", "-frames:v", "1",
                            "-pix_fmt", "bgra", "-f", "null", "-"})
                      .wall_s;
}

// The program's start is excluded by the least time that it takes for the first picture.
void CompareSeeks(const std::string& file, int rounds) {
    Player player(file.c_str());
    const double duration = player.Duration();
    double first = 1e9;
    for (int i = 0; i < 5 * rounds; ++i) first = std::min(first, SeekByProgram(file, 0));
    double ours = 0;
    double theirs = 0;
    for (int i = 0; i < seeks; ++i) {
        const double place = duration * (i * 37 % seeks + 0.3) / (seeks + 1);
        double least = 1e9;
        double least_program = 1e9;
        for (int round = 0; round < rounds; ++round) {
            least = std::min(least, player.SeekTo(place));
            least_program = std::min(least_program, SeekByProgram(file, place) - first);
        }
        ours += least;
        theirs += least_program;
    }
    std::printf("%d seeks     %.0f ms / %.0f ms = %.2f each on average\n", seeks, ours / seeks,
                theirs / seeks, ours / theirs);
}

}  // namespace

int main(int count, char** words) {
    if (count < 2) return 2;
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (count > 2 && std::strcmp(words[1], "--play") == 0) {
        Player(words[2]).PlayToTheEnd();
    } else {
        const int rounds = count > 2 ? std::atoi(words[2]) : 3;
        ComparePlayback("/proc/self/exe", words[1], rounds);
        CompareSeeks(words[1], rounds);
    }
    CoUninitialize();
    return 0;
}

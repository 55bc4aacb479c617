// Media files against the programs of FFmpeg: to BGRA pictures and PCM without a clock, the same in
// real time, the lateness of pictures, seeks to pictures, thumbnails.
// Usage: media_playback all|play|time|late|seek|thumbnail FILE [ROUNDS]
// Each figure is the least of alternating rounds. "time" shows the other program's pictures on an X
// server of its own.
#include <control.h>
#include <objbase.h>
#include <strmif.h>
#include <uuids.h>

#include <signal.h>

#include <algorithm>
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
    void OnVideoSample(unsigned char*, int, int, int, std::int64_t time, std::int64_t) override {
        REFTIME now = 0;
        if (position) position->get_CurrentPosition(&now);
        const std::lock_guard guard(lock);
        if (position) late_ms.push_back(now * 1000 - static_cast<double>(time) / 10'000);
        ++pictures;
        changed.notify_one();
    }
    void OnAudioSample(unsigned char*, int, std::int64_t, std::int64_t) override {}
    void Await() {
        std::unique_lock guard(lock);
        changed.wait(guard, [&] { return pictures > 0; });
        pictures = 0;
    }

    // By the graph's clock, when the dispatcher has the picture.
    std::vector<double> late_ms;
    IMediaPosition* position = nullptr;

private:
    std::mutex lock;
    std::condition_variable changed;
    int pictures = 0;
};

class Player {
public:
    explicit Player(const char* file, bool in_time = false) {
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
        if (!in_time) graph.As<IMediaFilter>()->SetSyncSource(nullptr);
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
    // Sorted.
    std::vector<double> Lateness() {
        const auto position = graph.As<IMediaPosition>();
        sink.position = position.Get();
        PlayToTheEnd();
        control->Stop();
        sink.position = nullptr;
        std::sort(sink.late_ms.begin(), sink.late_ms.end());
        return sink.late_ms;
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

// An X server for the other program, until the end.
class Display {
public:
    Display() {
        int ends[2];
        if (pipe(ends) != 0) std::exit(1);
        child = fork();
        if (child == 0) {
            const int null = open("/dev/null", O_RDWR);
            dup2(null, STDERR_FILENO);
            execlp("Xvfb", "Xvfb", "-screen", "0", "1920x1080x24", "-nolisten", "tcp", "-displayfd",
                   std::to_string(ends[1]).c_str(), nullptr);
            _exit(127);
        }
        close(ends[1]);
        std::string display = ":";
        for (char c = 0; read(ends[0], &c, 1) == 1 && c != '\n';) display += c;
        close(ends[0]);
        setenv("DISPLAY", display.c_str(), 1);
        setenv("SDL_AUDIODRIVER", "dummy", 1);
    }
    ~Display() {
        kill(child, SIGTERM);
        waitpid(child, nullptr, 0);
    }
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

private:
    pid_t child = 0;
};

void CompareInTime(const std::string& self, const std::string& file, int rounds) {
    const Display display;
    ChildCost ours{1e9, 1e9, 1e9};
    ChildCost theirs = ours;
    for (int i = 0; i < rounds; ++i) {
        Keep(ours, RunChild({self, "--play-in-time", file}));
        Keep(theirs, RunChild({"ffplay", "-loglevel", "error", "-autoexit", file}));
    }
    std::printf("in real time CPU %.2f s / %.2f s = %.2f\n", ours.cpu_s, theirs.cpu_s,
                ours.cpu_s / theirs.cpu_s);
}

// The round whose pictures are the least late.
void MeasureLateness(const std::string& file, int rounds) {
    std::vector<double> best;
    const auto at = [](const std::vector<double>& sorted, double part) {
        return sorted[static_cast<std::size_t>(static_cast<double>(sorted.size() - 1) * part)];
    };
    for (int i = 0; i < rounds; ++i) {
        const std::vector<double> late = Player(file.c_str(), true).Lateness();
        if (best.empty() || at(late, 0.99) < at(best, 0.99)) best = late;
    }
    std::printf("lateness     %zu pictures: median %.2f ms, 99 %% within %.2f ms, most %.2f ms\n",
                best.size(), at(best, 0.5), at(best, 0.99), best.back());
}

void CompareThumbnails(const std::string& file, int rounds) {
    const auto tool = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "vimbrel";
    const auto out = std::filesystem::temp_directory_path() / "vimbrel-bench.png";
    ChildCost ours{1e9, 1e9, 1e9};
    ChildCost theirs = ours;
    for (int i = 0; i < 5 * rounds; ++i) {
        Keep(ours, RunChild({tool.string(), "thumbnail", file, "--at", "5", out.string()}));
        Keep(theirs, RunChild({"ffmpeg", "-nostdin", "-y", "-loglevel", "error", "-ss", "5", "-i",
                               file, "-frames:v", "1", out.string()}));
    }
    std::filesystem::remove(out);
    std::printf("thumbnail    wall %.3f s / %.3f s = %.2f, CPU %.3f s / %.3f s = %.2f\n",
                ours.wall_s, theirs.wall_s, ours.wall_s / theirs.wall_s, ours.cpu_s, theirs.cpu_s,
                ours.cpu_s / theirs.cpu_s);
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
    if (count < 3) return 2;
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    const std::string what = words[1];
    const std::string file = words[2];
    const int rounds = count > 3 ? std::atoi(words[3]) : 3;
    const auto wants = [&](const char* name) { return what == name || what == "all"; };
    if (what.starts_with("--play")) Player(words[2], what == "--play-in-time").PlayToTheEnd();
    if (wants("play")) ComparePlayback("/proc/self/exe", file, rounds);
    if (wants("time")) CompareInTime("/proc/self/exe", file, rounds);
    if (wants("late")) MeasureLateness(file, rounds);
    if (wants("seek")) CompareSeeks(file, rounds);
    if (wants("thumbnail")) CompareThumbnails(file, rounds);
    CoUninitialize();
    return 0;
}

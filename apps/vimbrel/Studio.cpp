#include "Studio.h"

#include <objbase.h>
#include <wincodec.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

#include "Interrupt.h"
#include "Layer.h"
#include "Output.h"
#include "Progress.h"

namespace studio {

namespace {

using Clock = std::chrono::steady_clock;

// The system's library, for the time of the run.
class Com {
public:
    Com() : started(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {}
    ~Com() {
        if (started) CoUninitialize();
    }
    Com(const Com&) = delete;
    Com& operator=(const Com&) = delete;

private:
    bool started;
};

struct Release {
    void operator()(IWICImagingFactory* factory) const { factory->Release(); }
};
using Factory = std::unique_ptr<IWICImagingFactory, Release>;

Factory MakeFactory() {
    IWICImagingFactory* factory = nullptr;
    CoCreateInstance(CLSID_WICImagingFactory2, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&factory));
    return Factory(factory);
}

// The moments at which frames are due.
class Metronome {
public:
    explicit Metronome(int frames_per_second) : fps(frames_per_second), start(Clock::now() + lead) {}

    Clock::time_point Due(std::uint64_t frame) const {
        return start + std::chrono::microseconds(frame * 1'000'000 / static_cast<unsigned>(fps));
    }
    std::uint64_t DueBy(Clock::time_point time) const {
        const auto passed = std::chrono::duration_cast<std::chrono::microseconds>(time - start).count();
        return passed < 0 ? 0 : static_cast<std::uint64_t>(passed) * static_cast<unsigned>(fps) / 1'000'000;
    }

private:
    // Recorders count their time from their start and take nothing in its first moment.
    static constexpr std::chrono::milliseconds lead{5};

    int fps;
    Clock::time_point start;
};

// Sleeps in slices, so that an interrupt is seen soon. False if there was one.
bool WaitUntil(Clock::time_point due) {
    constexpr std::chrono::milliseconds slice{50};
    while (!Interrupted()) {
        const auto left = due - Clock::now();
        if (left <= Clock::duration::zero()) return true;
        std::this_thread::sleep_for(std::min<Clock::duration>(left, slice));
    }
    return false;
}

struct Totals {
    std::uint64_t frames = 0;   // composed
    std::uint64_t skipped = 0;  // not composed, since the run was too far behind
};

Totals Compose(const Scene& scene, std::vector<std::unique_ptr<Layer>>& layers, std::vector<std::unique_ptr<Output>>& outputs,
               double seconds) {
    const int fps = scene.canvas.fps;
    // A short hold-up is made good by composing faster; beyond a second the lost time is given up.
    const std::uint64_t backlog_limit = static_cast<std::uint64_t>(fps);
    const std::uint64_t end = seconds > 0 ? static_cast<std::uint64_t>(std::llround(seconds * fps)) : UINT64_MAX;
    Raster canvas(scene.canvas.width, scene.canvas.height);
    Progress progress;
    Totals totals;
    const Metronome metronome(fps);
    std::uint64_t frame = 0;
    for (; frame < end && WaitUntil(metronome.Due(frame)); ++frame) {
        const std::uint64_t due = std::min(metronome.DueBy(Clock::now()), end - 1);
        if (due > frame + backlog_limit) {
            totals.skipped += due - frame;
            frame = due;
        }
        Clear(canvas, scene.canvas.background);
        for (const auto& layer : layers) layer->Draw(static_cast<std::int64_t>(frame * 1000 / static_cast<unsigned>(fps)), canvas);
        for (const auto& output : outputs) output->Push(canvas, static_cast<std::int64_t>(frame * 10'000'000 / static_cast<unsigned>(fps)));
        ++totals.frames;
        progress.Show(static_cast<double>(frame + 1) / fps, totals.frames, totals.skipped, outputs, false);
    }
    progress.Show(static_cast<double>(frame) / fps, totals.frames, totals.skipped, outputs, true);
    return totals;
}

}  // namespace

ExitCode RunScene(const Scene& scene, const std::string& scene_name, double seconds) {
    const Com com;
    const Factory factory = MakeFactory();
    if (!factory) {
        std::fprintf(stderr, "vimbrel: the imaging component cannot be created\n");
        return exit_output_failed;
    }
    std::string error;
    std::vector<std::unique_ptr<Layer>> layers;
    for (const LayerDescription& description : scene.layers) {
        layers.push_back(OpenLayer(description, scene.canvas.fps, factory.get(), error));
        if (!layers.back()) {
            std::fprintf(stderr, "vimbrel: %s: %s\n", scene_name.c_str(), error.c_str());
            return exit_bad_input;
        }
    }
    std::vector<std::unique_ptr<Output>> outputs;
    for (const OutputDescription& description : scene.outputs) {
        outputs.push_back(StartOutput(description, scene.canvas, error));
        if (!outputs.back()) {
            std::fprintf(stderr, "vimbrel: %s: %s\n", scene_name.c_str(), error.c_str());
            return exit_bad_input;
        }
    }

    WatchForInterrupt();
    const Totals totals = Compose(scene, layers, outputs, seconds);
    if (Interrupted()) std::printf("interrupted; finishing what was begun\n");
    ExitCode code = exit_done;
    for (const auto& output : outputs) {
        if (!output->Finish(error)) {
            std::fprintf(stderr, "vimbrel: %s\n", error.c_str());
            code = exit_output_failed;
            continue;
        }
        const OutputStatus status = output->Status();
        std::printf("wrote %s: %llu frames, %llu dropped, %s\n", output->File().string().c_str(),
                    static_cast<unsigned long long>(status.written), static_cast<unsigned long long>(status.dropped + totals.skipped),
                    SizeText(status.bytes).c_str());
    }
    return code;
}

}  // namespace studio

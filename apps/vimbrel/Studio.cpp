#include "Studio.h"

#include <objbase.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "ImagingFactory.h"
#include "Interrupt.h"
#include "Keys.h"
#include "layers/Layer.h"
#include "outputs/Output.h"
#include "outputs/Progress.h"
#include "preview/Preview.h"
#include "sound/SoundMixer.h"

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

// The moments at which frames are due.
class Metronome {
public:
    explicit Metronome(int frames_per_second)
        : fps(frames_per_second), start(Clock::now() + lead) {}

    Clock::time_point Due(std::uint64_t frame) const {
        return start + std::chrono::microseconds(frame * 1'000'000 / static_cast<unsigned>(fps));
    }
    std::uint64_t DueBy(Clock::time_point time) const {
        const auto passed =
            std::chrono::duration_cast<std::chrono::microseconds>(time - start).count();
        return passed < 0
                   ? 0
                   : static_cast<std::uint64_t>(passed) * static_cast<unsigned>(fps) / 1'000'000;
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

// Gives the outputs the scene's sound, up to a frame's end, by the frames' own clock. Where there
// is live sound, all of it is given later by its lag, so that it belongs to the pictures of its
// moment.
class SoundFeed {
public:
    SoundFeed(SoundMixer* mixer, int frames_per_second)
        : source(mixer),
          fps(static_cast<unsigned>(frames_per_second)),
          rate(mixer ? static_cast<std::uint64_t>(mixer->Rate()) : 0),
          lag(mixer ? mixer->Lag() : 0) {}

    void PushUpTo(std::uint64_t frame, const Outputs& outputs) {
        if (!source) return;
        const std::uint64_t due = frame * rate / fps;
        Push(due - std::min(due, lag), outputs);
    }
    // The rest, up to that frame's end.
    void Finish(std::uint64_t frame, const Outputs& outputs) {
        if (!source || lag == 0) return;
        std::this_thread::sleep_for(std::chrono::microseconds(lag * 1'000'000 / rate));
        Push(frame * rate / fps, outputs);
    }

private:
    void Push(std::uint64_t end, const Outputs& outputs) {
        while (next < end) {
            const std::uint64_t count = std::min(end - next, rate / 10);
            const std::int16_t* const sound = source->Read(count);
            for (const auto& output : outputs)
                output->PushSound(sound, count,
                                  static_cast<std::int64_t>(next * 10'000'000 / rate));
            next += count;
        }
    }

    SoundMixer* source;
    unsigned fps;
    std::uint64_t rate;      // of the sound
    std::uint64_t lag;       // frames of sound
    std::uint64_t next = 0;  // frame of sound
};

// The loudest samples of each source: since the last reading for one who reads often, and since the
// last report for one who reads seldom.
class LevelHold {
public:
    explicit LevelHold(SoundMixer* mixer) : source(mixer) {}

    std::vector<SoundLevel> Read() {
        std::vector<SoundLevel> levels = source ? source->Levels() : std::vector<SoundLevel>();
        for (std::size_t i = 0; i < levels.size() && i < held.size(); ++i)
            held[i].peak = std::max(held[i].peak, levels[i].peak);
        if (held.empty()) held = levels;
        return levels;
    }
    std::vector<SoundLevel> Report() {
        std::vector<SoundLevel> levels = Read();
        for (std::size_t i = 0; i < levels.size(); ++i) levels[i].peak = held[i].peak;
        held.clear();
        return levels;
    }

private:
    SoundMixer* source;
    std::vector<SoundLevel> held;
};

// Streams first: a server that does not answer is not to cost a file.
bool StartOutputs(const Scene& scene, int sound_rate, Outputs& outputs, OutputFailure& failure) {
    outputs.resize(scene.outputs.size());
    for (const bool streams : {true, false}) {
        for (std::size_t i = 0; i < outputs.size(); ++i) {
            if ((scene.outputs[i].type == OutputType::Rtmp) != streams) continue;
            outputs[i] = StartOutput(scene.outputs[i], scene.canvas, sound_rate, failure);
            if (!outputs[i]) return false;
        }
    }
    return true;
}

RunState Compose(const Scene& scene, std::vector<std::unique_ptr<Layer>>& layers, SoundMixer* sound,
                 Outputs& outputs, const RunSettings& settings, Progress& progress) {
    const int fps = scene.canvas.fps;
    // A short hold-up is made good by composing faster; beyond a second the lost time is given up.
    const std::uint64_t backlog_limit = static_cast<std::uint64_t>(fps);
    const std::uint64_t end = settings.seconds > 0
                                  ? static_cast<std::uint64_t>(std::llround(settings.seconds * fps))
                                  : UINT64_MAX;
    Raster canvas(scene.canvas.width, scene.canvas.height);
    RunState state;
    SoundFeed feed(sound, fps);
    LevelHold levels(sound);
    std::optional<Preview> preview;
    if (settings.preview) preview.emplace("vimbrel", canvas.width, canvas.height, levels.Read());
    const auto show = [&](std::uint64_t frames) {
        state.seconds = static_cast<double>(frames) / fps;
        state.levels = levels.Report();
        progress.Show(state, outputs);
    };
    Keys keys;
    const Metronome metronome(fps);
    std::uint64_t frame = 0;
    for (; frame < end && WaitUntil(metronome.Due(frame)); ++frame) {
        const std::uint64_t due = std::min(metronome.DueBy(Clock::now()), end - 1);
        char key = keys.Pressed();
        if (key == 0 && preview) key = preview->Pressed();
        if (key == 'q') break;
        if (key == 'm' && sound) sound->ToggleMicrophones();
        if (due > frame + backlog_limit) {
            state.skipped += due - frame;
            frame = due;
        }
        Clear(canvas, scene.canvas.background);
        for (const auto& layer : layers)
            layer->Draw(static_cast<std::int64_t>(frame * 1000 / static_cast<unsigned>(fps)),
                        canvas);
        // Sound first: a recorder waits for both.
        feed.PushUpTo(frame + 1, outputs);
        for (const auto& output : outputs)
            output->Push(
                canvas, static_cast<std::int64_t>(frame * 10'000'000 / static_cast<unsigned>(fps)));
        if (preview && preview->IsReady()) preview->Show(canvas, levels.Read());
        ++state.frames;
        if (progress.IsDue()) show(frame + 1);
    }
    feed.Finish(frame, outputs);
    show(frame);
    return state;
}

}  // namespace

ExitCode RunScene(const Scene& scene, const std::string& scene_name, const RunSettings& settings) {
    const Com com;
    const ImagingFactory factory = MakeImagingFactory();
    if (!factory) {
        std::fprintf(stderr, "vimbrel: the imaging component cannot be created\n");
        return exit_output_failed;
    }
    std::string error;
    // Before the layers, some of which sound.
    std::unique_ptr<SoundMixer> sound;
    if (!scene.sound.empty()) {
        sound = SoundMixer::Open(scene.sound, error);
        if (!sound) {
            std::fprintf(stderr, "vimbrel: %s: %s\n", scene_name.c_str(), error.c_str());
            return exit_bad_input;
        }
    }
    std::vector<std::unique_ptr<Layer>> layers;
    for (const LayerDescription& description : scene.layers) {
        layers.push_back(OpenLayer(description, scene.canvas.fps, factory.get(), error));
        if (!layers.back()) {
            std::fprintf(stderr, "vimbrel: %s: %s\n", scene_name.c_str(), error.c_str());
            return exit_bad_input;
        }
    }
    Outputs outputs;
    OutputFailure failure;
    if (!StartOutputs(scene, sound ? sound->Rate() : 0, outputs, failure)) {
        std::fprintf(stderr, "vimbrel: %s: %s\n", scene_name.c_str(), failure.error.c_str());
        return failure.code;
    }

    WatchForInterrupt();
    Progress progress(settings.json);
    const RunState end = Compose(scene, layers, sound.get(), outputs, settings, progress);
    if (Interrupted() && !settings.json) std::printf("interrupted; finishing what was begun\n");
    ExitCode code = exit_done;
    for (const auto& output : outputs) {
        if (output->Finish(error)) {
            progress.ShowEnd(*output, end.skipped);
        } else {
            progress.ShowFailure(*output, error);
            code = output->FailureCode();
        }
    }
    return code;
}

}  // namespace studio

// Mixing and resampling of raw files as whole processes, against ffmpeg and GStreamer on the same
// files. Each figure is the best of several rounds, which alternate between the programs. The files
// of all mixes have the same size in sum, and all three mix them to the same bytes. Usage:
// audio_files [rounds]
#include <objbase.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "Audio/AudioResampler.h"
#include "Audio/CAudioMixer.h"
#include "base/Clock.h"
#include "bench/ChildProcess.h"
#include "tests/fakes/ManualClock.h"

namespace {

using namespace Vimbrel;
using bench::ChildCost;
using bench::RunChild;
using Command = std::vector<std::string>;

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
File Open(const std::string& name, const char* mode) {
    File file(std::fopen(name.c_str(), mode), std::fclose);
    if (!file) std::exit(1);
    // As much at a time as an application would read.
    std::setvbuf(file.get(), nullptr, _IOFBF, 1 << 16);
    return file;
}

constexpr std::size_t stretch_blocks = 16;

// One file's sound, a stretch at a time.
struct Input {
    Input(const std::string& name, CAudioChannel2* to) : file(Open(name, "rb")), channel(to) {}

    File file;
    CAudioChannel2* channel;
    alignas(64) unsigned char stretch[stretch_blocks * CAudioMixer::block_bytes];
};

// The first name is the output's.
int Mix(const std::vector<std::string>& names) {
    test::ManualClock clock;
    const ScopedClock scoped(clock);
    CAudioMixer mixer;
    const File output = Open(names[0], "wb");
    mixer.SetDispatcher([&](unsigned char* data, int size, std::int64_t, std::int64_t) {
        std::fwrite(data, 1, static_cast<std::size_t>(size), output.get());
    });
    std::vector<std::unique_ptr<Input>> inputs;
    for (std::size_t i = 1; i < names.size(); ++i) {
        inputs.push_back(std::make_unique<Input>(names[i], mixer.AddChannel(&engine_format)));
        std::setvbuf(inputs.back()->file.get(), nullptr, _IONBF, 0);
        inputs.back()->channel->Activate();
    }
    const auto run = mixer.BeginRun();
    constexpr std::size_t block = CAudioMixer::block_bytes;
    for (std::size_t blocks = 1; blocks > 0;) {
        for (const auto& input : inputs)
            blocks = std::fread(input->stretch, block, stretch_blocks, input->file.get());
        for (std::size_t i = 0; i < blocks; ++i) {
            for (const auto& input : inputs)
                input->channel->WriteSamples(input->stretch + i * block, block, 0, 0);
            mixer.Turn(*run);
            clock.AdvanceUnits(run->period + 1);  // a clock in double precision truncates
        }
    }
    return 0;
}

constexpr WAVEFORMATEX stereo_48000 = {WAVE_FORMAT_PCM, 2, 48000, 192000, 4, 16, 0};

int Resample(const std::vector<std::string>& names) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    AudioResampler resampler;
    if (FAILED(resampler.Initialize(&stereo_48000, &engine_format))) return 1;
    const File output = Open(names[0], "wb");
    const File input = Open(names[1], "rb");
    unsigned char block[4096];
    while (const std::size_t size = std::fread(block, 1, sizeof block, input.get())) {
        if (FAILED(resampler.Feed(block, static_cast<unsigned>(size)))) return 1;
        unsigned made = 0;
        const unsigned char* converted = resampler.Fetch(&made);
        std::fwrite(converted, 1, made, output.get());
    }
    return 0;
}

// So quiet that 64 of them do not clip: where they do, the programs differ.
void MakeSound(const std::string& name, int seconds, int rate, double frequency) {
    const File file = Open(name, "wb");
    constexpr int block_frames = 1024;
    for (int frame = 0; frame < seconds * rate / block_frames * block_frames; ++frame) {
        const auto value =
            static_cast<std::int16_t>(std::lround(500 * std::sin(frequency * frame)));
        const std::int16_t both[] = {value, static_cast<std::int16_t>(-value)};
        std::fwrite(both, sizeof both, 1, file.get());
    }
}

struct Contestant {
    const char* name;
    Command command;
    double cpu_s = std::numeric_limits<double>::max();
};

void Compete(const char* title, std::vector<Contestant> contestants, int rounds) {
    for (int round = 0; round < rounds; ++round) {
        for (Contestant& each : contestants)
            each.cpu_s = std::min(each.cpu_s, RunChild(each.command).cpu_s);
    }
    std::printf("%-12s", title);
    for (const Contestant& each : contestants) std::printf("  %s %.3f s", each.name, each.cpu_s);
    double best = contestants[1].cpu_s;
    for (std::size_t i = 1; i < contestants.size(); ++i)
        best = std::min(best, contestants[i].cpu_s);
    std::printf("  ours / best of the others %.2f\n", contestants[0].cpu_s / best);
    std::fflush(stdout);
}

// What mixes the files, into /dev/null or, with a folder, into files of their names in it.
std::vector<Contestant> Mixers(const std::vector<std::string>& files, const std::string& folder) {
    const auto output = [&](const char* name) {
        return folder.empty() ? std::string("/dev/null") : folder + "/" + name;
    };
    Command ours = {"/proc/self/exe", "--mix", output("ours")};
    Command ffmpeg = {"ffmpeg", "-v", "error", "-nostdin", "-y"};
    Command gstreamer = {"gst-launch-1.0",           "-q", "audiomixer", "name=m", "!", "filesink",
                         "location=" + output("gst")};
    for (const std::string& file : files) {
        ours.push_back(file);
        for (const char* word : {"-f", "s16le", "-ar", "44100", "-ac", "2", "-i"})
            ffmpeg.push_back(word);
        ffmpeg.push_back(file);
        for (const char* word :
             {"filesrc", "LOCATION", "!", "rawaudioparse", "format=pcm", "pcm-format=s16le",
              "sample-rate=44100", "num-channels=2", "!", "m."})
            gstreamer.push_back(std::strcmp(word, "LOCATION") == 0 ? "location=" + file : word);
    }
    for (const std::string& word : {std::string("-filter_complex"),
                                    "amix=inputs=" + std::to_string(files.size()) + ":normalize=0",
                                    std::string("-f"), std::string("s16le"), output("ffmpeg")})
        ffmpeg.push_back(word);
    return {{"ours", ours}, {"ffmpeg", ffmpeg}, {"gstreamer", gstreamer}};
}

void CompareMixes(const std::string& folder, int channels, int rounds) {
    constexpr int channel_seconds = 3840;
    std::vector<std::string> files;
    for (int i = 0; i < channels; ++i) {
        files.push_back(folder + "/in" + std::to_string(i));
        MakeSound(files.back(), channel_seconds / channels, 44100, 0.01 + 0.001 * i);
    }
    // Where the mix goes to is the kernel's work and the same for all, so it is not timed.
    for (const Contestant& each : Mixers(files, folder)) RunChild(each.command);
    RunChild({"cmp", folder + "/ours", folder + "/ffmpeg"});
    RunChild({"cmp", folder + "/ours", folder + "/gst"});
    for (const char* name : {"/ours", "/ffmpeg", "/gst"}) std::remove((folder + name).c_str());
    const std::string title = "mix of " + std::to_string(channels);
    Compete(title.c_str(), Mixers(files, {}), rounds);
    for (const std::string& file : files) std::remove(file.c_str());
}

void CompareResampling(const std::string& folder, int rounds) {
    const std::string in = folder + "/in";
    MakeSound(in, 60, 48000, 0.01);
    Compete(
        "60 s resampled",
        {{"ours", {"/proc/self/exe", "--resample", folder + "/ours", in}},
         {"ffmpeg",
          {"ffmpeg", "-v", "error", "-nostdin", "-y", "-f", "s16le", "-ar", "48000", "-ac", "2",
           "-i", in, "-af", "aresample=44100:internal_sample_fmt=fltp:filter_size=64:cutoff=0.98",
           "-f", "s16le", folder + "/ffmpeg"}}},
        rounds);
}

}  // namespace

int main(int count, char** arguments) {
    const std::vector<std::string> words(arguments + 1, arguments + count);
    if (count > 2 && words[0] == "--mix") return Mix({words.begin() + 1, words.end()});
    if (count > 2 && words[0] == "--resample") return Resample({words.begin() + 1, words.end()});
    const int rounds = count > 1 ? std::atoi(arguments[1]) : 5;
    char name[] = "/tmp/audio_files_XXXXXX";
    if (!mkdtemp(name)) return 1;
    const std::string folder = name;
    CompareResampling(folder, rounds);
    for (const int channels : {2, 16, 64}) CompareMixes(folder, channels, rounds);
    RunChild({"rm", "-r", folder});
}

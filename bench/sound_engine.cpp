// The sound engine on a sound server of its own, against the server's own recorder in the same run:
// CPU of whole processes that record packets of 10 ms, and when a click arrives. Then what a
// recording of microphone and system sound into MP4 costs beside the encoder, and the pitch filter
// against the bare library. Usage: sound_engine [seconds] [rounds]
// or, for the last alone, sound_engine --pitch rounds
#include <SoundTouch.h>
#include <objbase.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

#include "Audio/AudioFormat.h"
#include "Audio/capture/LoopbackCapture.h"
#include "Audio/capture/PitchShifter.h"
#include "bench/ChildProcess.h"
#include "tests/support/SoundServer.h"
#include "vimbrel/AudioFactory.h"
#include "vimbrel/MediaTranscode.h"

namespace {

using namespace Vimbrel;
using Command = std::vector<std::string>;
using Steady = std::chrono::steady_clock;
using Samples = std::vector<std::int16_t>;

constexpr unsigned rate = 44'100;
constexpr std::size_t block_bytes = 4096;

double Tone(double frequency, std::size_t frame) {
    return 6'000 * std::sin(frequency * 6.283185307 / rate * static_cast<double>(frame));
}

Samples Tones(int seconds, std::initializer_list<double> frequencies) {
    Samples samples(std::size_t{2} * rate * static_cast<unsigned>(seconds));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        double sum = 0;
        for (const double frequency : frequencies) sum += Tone(frequency, i / 2);
        samples[i] = static_cast<std::int16_t>(sum);
    }
    return samples;
}

// Children that run at the same time until they are asked to end.
std::vector<double> CpuSeconds(const std::vector<Command>& commands, int seconds) {
    std::vector<pid_t> children;
    for (const Command& command : commands) {
        children.push_back(fork());
        if (children.back() != 0) continue;
        std::vector<char*> words;
        for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
        words.push_back(nullptr);
        const int null = open("/dev/null", O_RDWR);
        dup2(null, STDIN_FILENO);
        dup2(null, STDOUT_FILENO);
        execvp(words[0], words.data());
        _exit(127);
    }
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    std::vector<double> cpu;
    for (const pid_t child : children) {
        kill(child, SIGTERM);
        rusage usage{};
        int status = 0;
        wait4(child, &status, 0, &usage);
        const auto part = [](const timeval& time) {
            return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
        };
        cpu.push_back(part(usage.ru_utime) + part(usage.ru_stime));
    }
    return cpu;
}

std::atomic<bool> asked_to_end{false};

void WaitForEnd() {
    while (!asked_to_end) pause();
}

int Capture() {
    LoopbackCapture capture;
    std::size_t bytes = 0;
    capture.SetDispatcher([&](unsigned char*, int size, std::uint64_t, std::uint64_t) {
        bytes += static_cast<std::size_t>(size);
    });
    if (FAILED(capture.Initialize(L"Speakers")) || !capture.StartThreads()) return 1;
    WaitForEnd();
    capture.Close();
    return bytes == 0;
}

// Sound of the devices, or the same from memory at the same pace.
int RecordMp4(const std::string& file, bool live) {
    const auto recorder = CreateMediaTranscodeMP4(true);
    recorder->SetAudioOutputFormat(&engine_format, nullptr);
    if (!recorder->Create({file.begin(), file.end()}) || !recorder->Start()) return 1;
    const auto push = [&](unsigned char* data, int size, std::int64_t time, std::int64_t duration) {
        recorder->SetAudioSample(data, static_cast<unsigned>(size), time, duration);
    };
    const auto factory = CAudioFactory::CreateAudioFactory();
    if (live) {
        factory->SetDispatcher(push);
        if (!factory->Open(true, L"Speakers", true, L"Microphone") || !factory->Start()) return 1;
        WaitForEnd();
    } else {
        Samples sound = Tones(10, {500, 1300});
        auto* const bytes = reinterpret_cast<unsigned char*>(sound.data());
        const std::size_t blocks = sound.size() * 2 / block_bytes;
        const auto begin = Steady::now();
        for (std::int64_t i = 0; !asked_to_end; ++i) {
            push(bytes + static_cast<std::size_t>(i) % blocks * block_bytes, block_bytes,
                 i * 232'199, 232'199);
            std::this_thread::sleep_until(begin + std::chrono::nanoseconds(23'219'954) * (i + 1));
        }
    }
    factory->Close();
    recorder->Stop();
    recorder->Cleanup();
    return 0;
}

void CompareCapture(int seconds, int rounds) {
    double ours = std::numeric_limits<double>::max();
    double theirs = ours;
    for (int round = 0; round < rounds; ++round) {
        const auto cpu =
            CpuSeconds({{"/proc/self/exe", "--capture"},
                        {"parec", "--device=speakers.monitor", "--format=s16le", "--rate=44100",
                         "--channels=2", "--latency-msec=10", "--raw"}},
                       seconds);
        ours = std::min(ours, cpu[0]);
        theirs = std::min(theirs, cpu[1]);
    }
    std::printf("capture, %d s: ours %.3f s, parec %.3f s: %.2f\n", seconds, ours, theirs,
                ours / theirs);
}

void CompareMp4(int seconds, int rounds) {
    double live = std::numeric_limits<double>::max();
    double fed = live;
    for (int round = 0; round < rounds; ++round) {
        const auto cpu = CpuSeconds({{"/proc/self/exe", "--live", "/tmp/sound_engine_live.mp4"},
                                     {"/proc/self/exe", "--fed", "/tmp/sound_engine_fed.mp4"}},
                                    seconds);
        live = std::min(live, cpu[0]);
        fed = std::min(fed, cpu[1]);
    }
    std::printf("into MP4, %d s: devices %.3f s, encoder alone %.3f s: %.2f %% of a core more\n",
                seconds, live, fed, (live - fed) / seconds * 100);
    std::remove("/tmp/sound_engine_live.mp4");
    std::remove("/tmp/sound_engine_fed.mp4");
}

// When clicks arrived; those that follow within a tenth of a second are the same.
class Clicks {
public:
    void Take(const unsigned char* data, std::size_t bytes) {
        const auto* const samples = reinterpret_cast<const std::int16_t*>(data);
        const auto loud = [](std::int16_t sample) { return std::abs(sample) > 5'000; };
        if (std::none_of(samples, samples + bytes / 2, loud)) return;
        const auto now = Steady::now();
        if (times.empty() || now - times.back() > std::chrono::milliseconds(100))
            times.push_back(now);
    }
    std::vector<Steady::time_point> times;
};

void CompareLatency(test::SoundServer& server, int seconds) {
    Clicks ours, theirs;
    std::FILE* const pipe = popen(
        "exec parec --device=speakers.monitor --format=s16le --rate=44100 --channels=2"
        " --latency-msec=10 --raw",
        "r");
    std::atomic<bool> ended{false};
    std::thread reader([&] {
        unsigned char block[1 << 16];
        pollfd readable{fileno(pipe), POLLIN, 0};
        while (!ended) {
            if (poll(&readable, 1, 100) != 1) continue;
            const ssize_t size = read(readable.fd, block, sizeof block);
            if (size > 0) theirs.Take(block, static_cast<std::size_t>(size));
        }
    });
    {
        LoopbackCapture capture;
        capture.SetDispatcher([&](unsigned char* data, int size, std::uint64_t, std::uint64_t) {
            ours.Take(data, static_cast<std::size_t>(size));
        });
        if (FAILED(capture.Initialize(L"Speakers")) || !capture.StartThreads()) std::exit(1);
        Samples sound(std::size_t{2} * rate * static_cast<unsigned>(seconds));
        for (std::size_t i = rate; i < sound.size(); i += rate * 4 / 5)
            std::fill_n(sound.begin() + static_cast<std::ptrdiff_t>(i), 40, std::int16_t{20'000});
        const auto player = server.Play("speakers", sound);
        std::this_thread::sleep_for(std::chrono::seconds(seconds));
    }
    ended = true;
    reader.join();
    pclose(pipe);
    std::vector<double> later;
    for (const auto& time : ours.times) {
        for (const auto& other : theirs.times) {
            const double ms = std::chrono::duration<double, std::milli>(time - other).count();
            if (std::abs(ms) < 150) later.push_back(ms);
        }
    }
    std::sort(later.begin(), later.end());
    if (later.empty()) std::exit(1);
    std::printf("%zu clicks: ours after parec by %.1f ms at the median, %.1f ms at most\n",
                later.size(), later[later.size() / 2], later.back());
}

// The bare library gets and gives samples of its own kind.
void ComparePitch(int rounds) {
    constexpr std::size_t frames = 1024;
    constexpr int packets = 400;
    Samples sound = Tones(1, {500, 1300});
    std::array<soundtouch::SAMPLETYPE, frames * 2> block{};
    for (std::size_t i = 0; i < block.size(); ++i)
        block[i] = static_cast<soundtouch::SAMPLETYPE>(sound[i]) / 32768;
    PitchShifter shifter;
    shifter.SetFormat(rate, 2, 1.5F);
    soundtouch::SoundTouch bare;
    bare.setSampleRate(rate);
    bare.setChannels(2);
    bare.setPitch(1.5);
    double ours = std::numeric_limits<double>::max();
    double theirs = ours;
    const auto measure = [&](double& best, auto&& work) {
        const auto start = Steady::now();
        for (int i = 0; i < packets; ++i) work();
        best = std::min(best, std::chrono::duration<double>(Steady::now() - start).count());
    };
    for (int round = 0; round < rounds; ++round) {
        measure(ours, [&] {
            alignas(64) unsigned char packet[block_bytes];
            std::memcpy(packet, sound.data(), sizeof packet);
            shifter.Shift(packet, sizeof packet, frames);
        });
        measure(theirs, [&] {
            std::array<soundtouch::SAMPLETYPE, frames* 2> packet = block;
            bare.putSamples(packet.data(), frames);
            bare.receiveSamples(packet.data(), frames);
        });
    }
    std::printf("pitch: %.1f us a packet, the bare library %.1f us: %.3f\n", ours / packets * 1e6,
                theirs / packets * 1e6, ours / theirs);
}

}  // namespace

int main(int count, char** arguments) {
    const Command words(arguments + 1, arguments + count);
    struct sigaction action {};
    action.sa_handler = [](int) { asked_to_end = true; };
    sigaction(SIGTERM, &action, nullptr);
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (count == 2 && words[0] == "--capture") return Capture();
    if (count == 3 && words[0] == "--live") return RecordMp4(words[1], true);
    if (count == 3 && words[0] == "--fed") return RecordMp4(words[1], false);
    if (count == 3 && words[0] == "--pitch") return ComparePitch(std::atoi(arguments[2])), 0;
    const int seconds = count > 1 ? std::atoi(arguments[1]) : 20;
    const int rounds = count > 2 ? std::atoi(arguments[2]) : 3;
    ComparePitch(100 * rounds);
    for (const auto kind : {test::SoundServerKind::pulse_audio, test::SoundServerKind::pipe_wire}) {
        test::SoundServer server(kind);
        std::printf("%s\n", kind == test::SoundServerKind::pulse_audio ? "PulseAudio" : "PipeWire");
        const auto speakers = server.Play("speakers", Tones(rounds * seconds * 2 + 10, {500}));
        const auto microphone = server.Play("micin", Tones(rounds * seconds * 2 + 10, {1300}));
        CompareCapture(seconds, rounds);
        CompareMp4(seconds, rounds);
        speakers->Stop();
        CompareLatency(server, seconds);
        std::fflush(stdout);
    }
}

// Records two seconds of colour and a tone into the MP4 named on the command line.
#include <chrono>
#include <cmath>
#include <filesystem>
#include <numbers>
#include <thread>
#include <vector>

#include <mmreg.h>
#include <objbase.h>

#include <vimbrel/MediaTranscode.h>

namespace {

constexpr int width = 320;
constexpr int height = 180;
constexpr int frames = 50;
constexpr std::int64_t frame_ticks = 10'000'000 / 25;
constexpr int block_samples = 48000 / 25;

// One channel pair after the other.
std::vector<std::int16_t> Tone(int block) {
    std::vector<std::int16_t> samples(std::size_t{2} * block_samples);
    for (int i = 0; i < block_samples; ++i) {
        const double time = (block * block_samples + i) / 48000.0;
        const double value = 8000.0 * std::sin(2.0 * std::numbers::pi * 440.0 * time);
        samples[std::size_t(i) * 2] = samples[std::size_t(i) * 2 + 1] =
            static_cast<std::int16_t>(value);
    }
    return samples;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    // [setup]
    const auto recorder = Vimbrel::CreateMediaTranscodeMP4(false);  // true: sound only
    recorder->SetVideoOutputFormat(width, height);  // even; every frame has this size
    recorder->SetVideoFps(25, 1);
    recorder->SetVideoQuality(1);  // 0, 1, 2: 2, 5, 10 bits per second and pixel
    WAVEFORMATEX format{};         // 48000 Hz, stereo, 16 bits
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = 2;
    format.nSamplesPerSec = 48000;
    format.wBitsPerSample = 16;
    format.nBlockAlign = 4;
    format.nAvgBytesPerSec = 48000 * 4;
    recorder->SetAudioOutputFormat(&format, nullptr);  // without it the file has no sound
    if (!recorder->Create(std::filesystem::absolute(argv[1]).wstring())) return 1;
    if (!recorder->Start()) return 1;
    // [end]
    std::vector<unsigned char> pixels(std::size_t{4} * width * height, 90);
    for (int i = 0; i < frames; ++i) {
        const std::int64_t time = i * frame_ticks;
        std::vector<std::int16_t> samples = Tone(i);
        // [samples]
        recorder->SetVideoSample(pixels.data(), width, height, width * 4, time, frame_ticks);
        recorder->SetAudioSample(samples.data(), static_cast<unsigned>(samples.size() * 2), time,
                                 frame_ticks);
        // [end]
    }
    // [stop]
    const auto waiting = [&] {
        const Vimbrel::TranscodeStatistics counts = Vimbrel::GetTranscodeStatistics(*recorder);
        return counts.videoTaken + counts.audioTaken - counts.videoWritten - counts.audioWritten -
               counts.videoDropped - counts.audioDropped;
    };
    for (int i = 0; i < 1000 && waiting() > 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    recorder->Stop();  // drops what still waits, ends the file
    recorder->Cleanup();
    // [end]
    CoUninitialize();
    return 0;
}

// Records a moving square into the GIF named on the command line.
#include <chrono>
#include <filesystem>
#include <thread>
#include <vector>

#include <objbase.h>

#include <vimbrel/MediaTranscode.h>

namespace {

constexpr int width = 160;
constexpr int height = 120;

std::vector<unsigned char> Draw(int frame) {
    std::vector<unsigned char> pixels(std::size_t{4} * width * height, 255);
    for (int y = 40; y < 80; ++y) {
        for (int x = frame * 10; x < frame * 10 + 40; ++x)
            pixels[(std::size_t(y) * width + x) * 4] = 0;
    }
    return pixels;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    // [record]
    const auto recorder = Vimbrel::CreateMediaTranscodeGIF();
    recorder->SetVideoOutputFormat(width, height);  // the box that the first frame is fitted to
    recorder->SetVideoFps(10, 1);
    recorder->SetVideoQuality(1);                                    // error diffusion
    recorder->Create(std::filesystem::absolute(argv[1]).wstring());  // always false for a GIF
    if (!recorder->Start()) return 1;
    for (int frame = 0; frame < 10; ++frame) {
        const std::vector<unsigned char> pixels = Draw(frame);
        recorder->SetVideoSample(const_cast<unsigned char*>(pixels.data()), width, height,
                                 width * 4, 0, 0);  // copies; never waits
        std::this_thread::sleep_for(std::chrono::milliseconds(110));
    }
    recorder->Stop();  // drops waiting frames, ends the file
    recorder->Cleanup();
    // [end]
    const Vimbrel::TranscodeStatistics counts = Vimbrel::GetTranscodeStatistics(*recorder);
    CoUninitialize();
    return counts.videoWritten > 5 ? 0 : 3;
}

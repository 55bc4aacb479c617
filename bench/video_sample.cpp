// What SetVideoSample of the MP4 recorder costs its caller, against memcpy of the same frame into
// memory that is there.
//
//     video_sample [--rounds N]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "vimbrel/MediaTranscode.h"

namespace {

using Clock = std::chrono::steady_clock;

double Microseconds(Clock::time_point start) {
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

double Median(std::vector<double> values) {
    std::nth_element(values.begin(),
                     values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

// Per call, with `waiting` frames in the queue as an encoder leaves them that keeps up.
double RecorderCost(unsigned width, unsigned height, int frames) {
    const auto recorder = Vimbrel::CreateMediaTranscodeMP4(false);
    recorder->SetVideoOutputFormat(static_cast<int>(width), static_cast<int>(height));
    recorder->SetVideoFps(30, 1);
    recorder->SetVideoQuality(0);
    if (!recorder->Create(L"/tmp/video_sample.mp4") || !recorder->Start()) std::exit(1);
    std::vector<unsigned char> frame(std::size_t{width} * height * 4, 0x40);
    std::vector<double> costs;
    for (int i = 0; i < frames; ++i) {
        frame[static_cast<std::size_t>(i)] = static_cast<unsigned char>(i);
        const auto start = Clock::now();
        recorder->SetVideoSample(frame.data(), width, height, width * 4, std::int64_t{i} * 333'333,
                                 333'333);
        costs.push_back(Microseconds(start));
        for (;;) {
            const auto counts = Vimbrel::GetTranscodeStatistics(*recorder);
            if (counts.videoTaken == counts.videoWritten) break;
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }
    recorder->Stop();
    std::remove("/tmp/video_sample.mp4");
    return Median(std::move(costs));
}

double CopyCost(unsigned width, unsigned height, int frames) {
    std::vector<unsigned char> frame(std::size_t{width} * height * 4, 0x40);
    std::vector<unsigned char> copy(frame.size());
    std::vector<double> costs;
    for (int i = 0; i < frames; ++i) {
        // As the recorder's frames: written just before.
        frame[static_cast<std::size_t>(i)] = static_cast<unsigned char>(i);
        const auto start = Clock::now();
        std::memcpy(copy.data(), frame.data(), frame.size());
        costs.push_back(Microseconds(start));
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return Median(std::move(costs));
}

}  // namespace

int main(int count, char** arguments) {
    int rounds = 5;
    if (count == 3 && std::strcmp(arguments[1], "--rounds") == 0) rounds = std::atoi(arguments[2]);
    constexpr int frames = 100;
    for (const auto& [width, height] : {std::pair{1280u, 720u}, {1920u, 1080u}, {3840u, 2160u}}) {
        double best[2] = {1e9, 1e9};
        for (int round = 0; round < rounds; ++round) {
            best[0] = std::min(best[0], RecorderCost(width, height, frames));
            best[1] = std::min(best[1], CopyCost(width, height, frames));
        }
        std::printf("%ux%u: SetVideoSample %.0f us, memcpy %.0f us, ratio %.2f\n", width, height,
                    best[0], best[1], best[0] / best[1]);
    }
    return 0;
}

#include "outputs/RecorderWait.h"

#include <chrono>
#include <thread>

namespace studio {

namespace {

// How long the end may take without a single frame coming out of the encoder.
constexpr std::chrono::seconds patience{10};

}  // namespace

void WaitForRecorder(const Vimbrel::MediaTranscode& recorder) {
    std::uint64_t done_before = 0;
    auto last_progress = std::chrono::steady_clock::now();
    for (;;) {
        const auto counts = Vimbrel::GetTranscodeStatistics(recorder);
        const std::uint64_t done =
            counts.videoWritten + counts.videoDropped + counts.audioWritten + counts.audioDropped;
        const auto now = std::chrono::steady_clock::now();
        if (done >= counts.videoTaken + counts.audioTaken || now - last_progress > patience) return;
        if (done != done_before) last_progress = now;
        done_before = done;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

}  // namespace studio

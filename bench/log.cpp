// What the logger costs, as ratios to other programs measured in the same run:
//   a disabled log site against an empty loop,
//   a record's prefix against spdlog's default formatter,
//   a written record against the bare system calls that it cannot do without.
// Rounds alternate and the best of each counts, so that a busy machine slows both sides.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spdlog/details/log_msg.h>
#include <spdlog/pattern_formatter.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <string>

#include "log/LogerManager.h"
#include "log/RecordPrefix.h"

namespace {

using HalvorixAppLog::IAppLogManager;
using HalvorixAppLog::LogRecord;

constexpr int rounds = 100;

// Nanoseconds per call.
template <class Body>
double Time(int count, Body&& body) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < count; ++i) body(i);
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start)
               .count() /
           count;
}

struct Pair {
    double ours = std::numeric_limits<double>::max();
    double other = std::numeric_limits<double>::max();
};

template <class Ours, class Other>
Pair Compare(int count, Ours&& ours, Other&& other) {
    Pair best;
    for (int round = 0; round < rounds; ++round) {
        best.other = std::min(best.other, Time(count, other));
        best.ours = std::min(best.ours, Time(count, ours));
    }
    return best;
}

void MeasureDisabledSite(const char* state) {
    const Pair pair = Compare(
        500'000,
        [](int i) {
            benchmark::DoNotOptimize(i);
            APPLOG_FORMAT(HalvorixAppLog::LOG_LEVEL_TRACE, "never written: %d", i);
        },
        [](int i) { benchmark::DoNotOptimize(i); });
    std::printf("disabled log site, %-28s %6.2f ns over an empty loop of %.2f ns\n", state,
                pair.ours - pair.other, pair.other);
}

void MeasurePrefix(IAppLogManager& manager) {
    const auto record = [&](int) {
        LogRecord* const made = manager.MakeRecord(0, HalvorixAppLog::LOG_LEVEL_INFO);
        benchmark::DoNotOptimize(made->content);
        manager.FreeRecord(made);
    };
    spdlog::pattern_formatter formatter;
    spdlog::memory_buf_t line;
    const Pair whole = Compare(50'000, record, [&](int) {
        // Its record is this message: made with the time and the thread, as ours is.
        const spdlog::details::log_msg message("Main", spdlog::level::info, "");
        line.clear();
        formatter.format(message, line);
        benchmark::DoNotOptimize(line.data());
    });
    std::printf("record's prefix %.1f ns, spdlog's message and formatter %.1f ns: ratio %.2f\n",
                whole.ours, whole.other, whole.ours / whole.other);
    // Both on a record whose time and thread are there already.
    const spdlog::details::log_msg ready("Main", spdlog::level::info, "");
    HalvorixAppLog::LogClock& clock = HalvorixAppLog::LogClock::System();
    const auto now = clock.Now();
    LogRecord ours{};
    ours.level = HalvorixAppLog::LOG_LEVEL_INFO;
    ours.time = now.seconds;
    ours.precise = now.milliseconds;
    ours.threadId = static_cast<std::uint32_t>(getpid());
    HalvorixAppLog::RecordPrefix prefix;
    const Pair format = Compare(
        50'000,
        [&](int) {
            prefix.Write(ours, clock);
            benchmark::DoNotOptimize(ours.content);
        },
        [&](int) {
            line.clear();
            formatter.format(ready, line);
            benchmark::DoNotOptimize(line.data());
        });
    std::printf("its text alone %.1f ns, spdlog's formatter alone %.1f ns: ratio %.2f\n",
                format.ours, format.other, format.ours / format.other);
}

void MeasureWrite(IAppLogManager& manager, const std::string& directory) {
    manager.SetPath(0, directory.c_str());
    manager.SetDisplay(0, false);
    // The text of a common line; the bare calls write the same number of bytes.
    const auto record = [&](int i) {
        APPLOG_FORMAT(HalvorixAppLog::LOG_LEVEL_ERROR,
                      "Photo - CreateDecoderFromFilename failed - 0x%08X",
                      static_cast<unsigned>(i));
    };
    const std::uint64_t bytes = manager.TotalWriteBytes();
    record(0);
    const std::string line(manager.TotalWriteBytes() - bytes, 'x');
    const std::string path = directory + "/bare.log";
    const Pair pair = Compare(500, record, [&](int) {
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666);
        benchmark::DoNotOptimize(write(file, line.data(), line.size()));
        close(file);
    });
    std::printf(
        "written record of %zu bytes %.0f ns, bare open, write and close %.0f ns: ratio %.2f\n",
        line.size(), pair.ours, pair.other, pair.ours / pair.other);
}

}  // namespace

int main(int argc, char** argv) {
    IAppLogManager& manager = *HalvorixAppLog::GetAppLogger();
    MeasureDisabledSite("manager not started:");
    manager.Start();
    MeasureDisabledSite("level filtered out:");
    MeasurePrefix(manager);
    // The directory's file system decides about the last figure.
    const std::filesystem::path directory = std::filesystem::path(argc > 1 ? argv[1] : "/tmp") /
                                            ("vimbrel-bench-log-" + std::to_string(getpid()));
    std::filesystem::create_directories(directory);
    MeasureWrite(manager, directory.string());
    manager.Stop();
    std::filesystem::remove_all(directory);
}

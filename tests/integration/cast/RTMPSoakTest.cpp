// Half a minute of a full-size cast, which takes about half a core, or VIMBREL_SOAK_SECONDS. Not
// for builds with a sanitizer: they would measure their own slowness.
#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <climits>
#include <cstdlib>

#include "tests/support/MarkedCast.h"

namespace Vimbrel::test {
namespace {

constexpr int wide = 1920;
constexpr int high = 1080;

long ResidentKib() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) return std::strtol(line.c_str() + 6, nullptr, 10);
    }
    return 0;
}

double CpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// A desktop at work: a background of soft colours with windows of lines like text, of which one
// scrolls, and a camera's picture with its grain in a corner. One buffer, changed from picture to
// picture.
class Desktop {
public:
    Desktop() : pixels(std::size_t{4} * wide * high) {
        for (int y = 0; y < high; ++y) {
            for (int x = 0; x < wide; ++x) Put(x, y, 90 + x / 40, 70 + y / 20, 60);
        }
        DrawText(60, 80, 800, 900, 0);
    }
    unsigned char* Draw(int number) {
        DrawText(920, 80, 900, 620, number * 4);
        for (int y = 0; y < 270; ++y) {
            for (int x = 0; x < 480; ++x) {
                random = random * 1664525U + 1013904223U;
                const int grain = static_cast<int>(random >> 29) - 4;
                const int dx = x - 240 - static_cast<int>(100 * std::sin(number * 0.05));
                const int dy = y - 150;
                const bool head = dx * dx + dy * dy < 8000;
                Put(1380 + x, 750 + y, (head ? 120 : 80 + x / 8) + grain,
                    (head ? 150 : 90 + y / 4) + grain, (head ? 200 : 100) + grain);
            }
        }
        return pixels.data();
    }

private:
    void Put(int x, int y, int blue, int green, int red) {
        unsigned char* const pixel = &pixels[std::size_t{4} * (static_cast<std::size_t>(y) * wide +
                                                               static_cast<std::size_t>(x))];
        pixel[0] = static_cast<unsigned char>(blue);
        pixel[1] = static_cast<unsigned char>(green);
        pixel[2] = static_cast<unsigned char>(red);
        pixel[3] = 255;
    }
    // Rows of 18 with strokes that look like letters, of a page scrolled up by so many rows.
    void DrawText(int left, int top, int columns, int rows, int scrolled) {
        for (int y = 0; y < rows; ++y) {
            const int line = (y + scrolled) / 18;
            const int row = (y + scrolled) % 18;
            for (int x = 0; x < columns; ++x) {
                const auto letter = static_cast<unsigned>(line * 131 + x / 9) * 2654435761U;
                const bool ink = row > 3 && row < 14 && x % 9 < 7 && (letter >> 28) > 2 &&
                                 (letter >> ((x % 9 / 2 + row / 3 * 4) % 24) & 1) != 0;
                const int level = ink ? 30 : 245;
                Put(left + x, top + y, level, level, level);
            }
        }
    }

    std::vector<unsigned char> pixels;
    std::uint32_t random = 1;
};

TEST(RTMPSoak, FullHdLosesNothingAndHoldsItsMemory) {
    const char* const asked = std::getenv("VIMBREL_SOAK_SECONDS");
    const int seconds = asked ? static_cast<int>(std::strtol(asked, nullptr, 10)) : 30;
    ASSERT_GE(seconds, 30);
    const int frames = seconds * 30;
    RtmpServer server;
    const auto cast = MakeCast(server.Url("live", "key"), Framing::Standard);
    cast->SetVideoOutputFormat(wide, high, 30, 1);
    cast->SetVideoQuality(1);
    ASSERT_EQ(cast->Start(), RTMPCAST_OK);
    Desktop desktop;
    // The least of the first seconds but for the very first, and of the last: pictures that wait
    // for the encoder come and go.
    long early = LONG_MAX, late = LONG_MAX, most = 0;
    double drawing = 0;
    const double cpu = CpuSeconds();
    Pace(
        frames, block_samples,
        [&](int number) {
            const auto start = std::chrono::steady_clock::now();
            unsigned char* const picture = desktop.Draw(number);
            drawing +=
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            cast->SetVideoSample(picture, wide, high, wide * 4, 10'000'000 + number * 333'333LL);
            if (number % 30 != 0) return;
            // What the C library keeps of freed pictures comes in steps of their size, and is no
            // growth.
            malloc_trim(0);
            const long resident = ResidentKib();
            most = std::max(most, resident);
            if (number >= 3 * 30 && number < 8 * 30) early = std::min(early, resident);
            if (number >= frames - 5 * 30) late = std::min(late, resident);
        },
        [&](int first) { GiveSound({cast.get()}, first); });
    const double used = CpuSeconds() - cpu;
    std::this_thread::sleep_for(1s);
    cast->Stop();
    std::printf(
        "%.2f of a core, of which %.2f at most drew pictures; %ld, %ld and at most %ld MiB "
        "resident; %d kbit/s\n",
        used / seconds, drawing / seconds, early / 1024, late / 1024, most / 1024,
        cast->GetAverageBitRate() / 1000);
    const CastRecording recording(server, "key");
    const auto pictures = recording.Packets("v");
    EXPECT_EQ(pictures.size(), static_cast<std::size_t>(frames));
    ExpectRising(pictures, 33, 34);
    // But for the one that is still in the encoder, and what fills none.
    EXPECT_EQ(recording.Packets("a").size(),
              static_cast<std::size_t>(frames) * samples_per_picture / samples_per_frame - 1);
    // A raw picture has 8 MiB, and what is encoded from second 8 to 25 has 10.
    EXPECT_LT(late - early, 8 * 1024);
}

}  // namespace
}  // namespace Vimbrel::test

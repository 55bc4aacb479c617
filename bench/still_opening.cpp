// Opening a large JPEG into a small box, as a whole process, against the ffmpeg program doing the
// same. Each figure is the best of several rounds, which alternate between the two.
#include <fcntl.h>
#include <objbase.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <wincodec.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "com/ComPtr.h"
#include "com/Utf8.h"
#include "vimbrel/MediaSourcePicture.h"

namespace {

constexpr int rounds = 15;
constexpr long box_width = 400;
constexpr long box_height = 300;
constexpr double decoded_mib = 4000.0 * 3000.0 * 1.5 / (1 << 20);
constexpr double scaled_mib = 400.0 * 300.0 * 4.0 / (1 << 20);

struct Cost {
    double wall_ms = std::numeric_limits<double>::max();
    double cpu_ms = std::numeric_limits<double>::max();
    double peak_mib = std::numeric_limits<double>::max();
};

double Milliseconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

// Runs a program to its end; leaves if it fails.
Cost Run(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    for (const std::string& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = vfork();
    if (child == 0) {
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (child < 0 || wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) ||
        WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "%s failed\n", command[0].c_str());
        std::exit(1);
    }
    Cost cost;
    cost.wall_ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    cost.cpu_ms = Milliseconds(usage.ru_utime) + Milliseconds(usage.ru_stime);
    cost.peak_mib = static_cast<double>(usage.ru_maxrss) / 1024.0;
    return cost;
}

void KeepBest(Cost& best, const Cost& cost) {
    best.wall_ms = std::min(best.wall_ms, cost.wall_ms);
    best.cpu_ms = std::min(best.cpu_ms, cost.cpu_ms);
    best.peak_mib = std::min(best.peak_mib, cost.peak_mib);
}

int Child(const char* path) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    Vimbrel::ComPtr<IWICImagingFactory> factory;
    void* made = nullptr;
    if (FAILED(CoCreateInstance(CLSID_WICImagingFactory2, nullptr, CLSCTX_INPROC_SERVER,
                                __uuidof(IWICImagingFactory), &made)))
        return 1;
    factory.Attach(static_cast<IWICImagingFactory*>(made));
    Vimbrel::MediaSourcePicture picture;
    picture.SetWicImagingFactory(factory.Get());
    picture.SetFileName(Vimbrel::FromUtf8(path).c_str());
    return picture.Open(1000, box_width, box_height) ? 0 : 1;
}

void Print(const char* name, const Cost& cost) {
    std::printf("%-8s wall %7.1f ms   cpu %7.1f ms   peak memory %6.1f MiB\n", name, cost.wall_ms,
                cost.cpu_ms, cost.peak_mib);
}

}  // namespace

int main(int count, char** arguments) {
    if (count > 1) return Child(arguments[1]);
    char folder[] = "/tmp/still_opening_XXXXXX";
    if (!mkdtemp(folder)) return 1;
    const std::string large = std::string(folder) + "/large.jpg";
    const std::string small = std::string(folder) + "/small.jpg";
    const auto make = [](const char* size, const std::string& path) {
        Run({"ffmpeg", "-v", "error", "-f", "lavfi", "-i",
             std::string("mandelbrot=s=") + size + ":maxiter=300", "-vf",
             "noise=alls=20:all_seed=7", "-frames:v", "1", "-pix_fmt", "yuvj420p", "-q:v", "3",
             "-y", path});
    };
    make("4000x3000", large);
    make("16x16", small);

    const std::vector<std::string> ours = {"/proc/self/exe", large};
    const std::vector<std::string> ours_small = {"/proc/self/exe", small};
    const std::vector<std::string> theirs = {
        "ffmpeg",   "-v",   "error", "-i",       large, "-vf",      "scale=400:300:flags=bicubic",
        "-pix_fmt", "bgra", "-f",    "rawvideo", "-y",  "/dev/null"};
    Cost our_best;
    Cost our_idle;
    Cost their_best;
    for (int round = 0; round < rounds; ++round) {
        KeepBest(our_best, Run(ours));
        KeepBest(their_best, Run(theirs));
        KeepBest(our_idle, Run(ours_small));
    }
    unlink(large.c_str());
    unlink(small.c_str());
    rmdir(folder);

    std::printf("4000x3000 JPEG into a box of 400x300, whole processes, best of %d\n", rounds);
    Print("ours", our_best);
    Print("ffmpeg", their_best);
    std::printf("ours / ffmpeg: wall %.2f   cpu %.2f   peak memory %.2f\n",
                our_best.wall_ms / their_best.wall_ms, our_best.cpu_ms / their_best.cpu_ms,
                our_best.peak_mib / their_best.peak_mib);
    std::printf(
        "peak above a run with a 16x16 picture: %.1f MiB, %.2f times the decoded and the scaled "
        "picture (%.1f + %.1f MiB)\n",
        our_best.peak_mib - our_idle.peak_mib,
        (our_best.peak_mib - our_idle.peak_mib) / (decoded_mib + scaled_mib), decoded_mib,
        scaled_mib);
}

// The pixel operations against libyuv's nearest ones: one thread, the same buffers, rounds that
// alternate between all variants and libyuv, the best of many. Prints our time over libyuv's, so
// that below 1 is faster. Both use the same instruction sets: beside our AVX2 libyuv does without
// AVX-512, as on a processor that lacks it. Usage: pixel_bench [rounds] [part of an operation's
// name]
#include <libyuv.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "pixel/BgraToYuv.h"
#include "pixel/KernelSelection.h"
#include "pixel/PixelOperations.h"

namespace {

using namespace Vimbrel;

struct Buffers {
    PixelSize size;
    std::vector<std::uint8_t> source;
    std::vector<std::uint8_t> destination;

    explicit Buffers(PixelSize picture)
        : size(picture), source(Pixels() * 4), destination(Pixels() * 4) {
        std::uint32_t state = 1;
        for (std::uint8_t& byte : source)
            byte = static_cast<std::uint8_t>((state = state * 1664525 + 1013904223) >> 24);
    }
    std::size_t Pixels() const {
        return static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
    }
    std::uint8_t* Cb() { return source.data() + Pixels(); }
    std::uint8_t* Cr() { return Cb() + Pixels() / 4; }
};

struct Contest {
    const char* name;
    double bytes_per_pixel;
    std::function<void(Buffers&)> ours;
    std::function<void(Buffers&)> theirs;
};

std::vector<Contest> Contests() {
    return {
        {"NV12", 5.5,
         [](Buffers& b) {
             ConvertNv12ToBgra(b.source.data(), b.size.width, b.Cb(), b.size.width,
                               b.destination.data(), 4 * b.size.width, b.size, 255);
         },
         [](Buffers& b) {
             libyuv::NV12ToARGB(b.source.data(), b.size.width, b.Cb(), b.size.width,
                                b.destination.data(), 4 * b.size.width, b.size.width,
                                b.size.height);
         }},
        // The flat matrix is close to that of full-range data.
        {"I420", 5.5,
         [](Buffers& b) {
             const std::uint8_t* planes[] = {b.source.data(), b.Cb(), b.Cr()};
             const std::int32_t steps[] = {b.size.width, b.size.width / 2, b.size.width / 2};
             ConvertI420ToBgra(planes, steps, b.destination.data(), 4 * b.size.width, b.size, 255);
         },
         [](Buffers& b) {
             libyuv::J420ToARGB(b.source.data(), b.size.width, b.Cb(), b.size.width / 2, b.Cr(),
                                b.size.width / 2, b.destination.data(), 4 * b.size.width,
                                b.size.width, b.size.height);
         }},
        {"YV12", 5.5,
         [](Buffers& b) {
             const std::uint8_t* planes[] = {b.source.data(), b.Cb(), b.Cr()};
             const std::int32_t steps[] = {b.size.width, b.size.width / 2, b.size.width / 2};
             ConvertYv12ToBgra(planes, steps, b.destination.data(), 4 * b.size.width, b.size, 255);
         },
         [](Buffers& b) {
             libyuv::I420ToARGB(b.source.data(), b.size.width, b.Cb(), b.size.width / 2, b.Cr(),
                                b.size.width / 2, b.destination.data(), 4 * b.size.width,
                                b.size.width, b.size.height);
         }},
        {"YUY2", 6,
         [](Buffers& b) {
             ConvertYuy2ToBgra(b.source.data(), 2 * b.size.width, b.destination.data(),
                               4 * b.size.width, b.size, 255);
         },
         [](Buffers& b) {
             libyuv::YUY2ToARGB(b.source.data(), 2 * b.size.width, b.destination.data(),
                                4 * b.size.width, b.size.width, b.size.height);
         }},
        {"UYVY", 6,
         [](Buffers& b) {
             ConvertUyvyToBgra(b.source.data(), 2 * b.size.width, b.destination.data(),
                               4 * b.size.width, b.size, 255);
         },
         [](Buffers& b) {
             libyuv::UYVYToARGB(b.source.data(), 2 * b.size.width, b.destination.data(),
                                4 * b.size.width, b.size.width, b.size.height);
         }},
        {"RGB24", 7,
         [](Buffers& b) {
             ExpandBgrToBgra(b.source.data(), 3 * b.size.width, b.destination.data(),
                             4 * b.size.width, b.size);
         },
         [](Buffers& b) {
             libyuv::RGB24ToARGB(b.source.data(), 3 * b.size.width, b.destination.data(),
                                 4 * b.size.width, b.size.width, b.size.height);
         }},
        // libyuv's one pass writes the alpha too; ours is two passes by their definition.
        {"RGB24 and FillAlpha", 15,
         [](Buffers& b) {
             ExpandBgrToBgra(b.source.data(), 3 * b.size.width, b.destination.data(),
                             4 * b.size.width, b.size);
             FillAlpha(255, b.destination.data() + 3, 4 * b.size.width, b.size);
         },
         [](Buffers& b) {
             libyuv::RGB24ToARGB(b.source.data(), 3 * b.size.width, b.destination.data(),
                                 4 * b.size.width, b.size.width, b.size.height);
         }},
        // Its nearest to a constant alpha is to copy one from a plane, here always the same row.
        {"RGB32 and FillAlpha", 16,
         [](Buffers& b) {
             CopyBgrxToBgra(b.source.data(), 4 * b.size.width, b.destination.data(),
                            4 * b.size.width, b.size);
             FillAlpha(255, b.destination.data() + 3, 4 * b.size.width, b.size);
         },
         [](Buffers& b) {
             libyuv::ARGBCopy(b.source.data(), 4 * b.size.width, b.destination.data(),
                              4 * b.size.width, b.size.width, b.size.height);
             libyuv::ARGBCopyYToAlpha(b.source.data(), 0, b.destination.data(), 4 * b.size.width,
                                      b.size.width, b.size.height);
         }},
        // By BT.601, libyuv's only matrix.
        {"BGRA to I420", 5.5,
         [](Buffers& b) {
             const auto width = static_cast<std::ptrdiff_t>(b.size.width);
             std::uint8_t* luma = b.destination.data();
             ConvertBgraToYuv(b.source.data(), static_cast<unsigned>(b.size.width),
                              static_cast<unsigned>(b.size.height), YuvMatrix::bt601,
                              {{luma, luma + b.Pixels(), luma + b.Pixels() / 4 * 5},
                               {width, width / 2, width / 2}});
         },
         [](Buffers& b) {
             std::uint8_t* luma = b.destination.data();
             libyuv::ARGBToI420(b.source.data(), 4 * b.size.width, luma, b.size.width,
                                luma + b.Pixels(), b.size.width / 2, luma + b.Pixels() / 4 * 5,
                                b.size.width / 2, b.size.width, b.size.height);
         }},
        {"BGRA to NV12", 5.5,
         [](Buffers& b) {
             const auto width = static_cast<std::ptrdiff_t>(b.size.width);
             std::uint8_t* luma = b.destination.data();
             ConvertBgraToYuv(b.source.data(), static_cast<unsigned>(b.size.width),
                              static_cast<unsigned>(b.size.height), YuvMatrix::bt601,
                              {{luma, luma + b.Pixels(), nullptr}, {width, width, 0}});
         },
         [](Buffers& b) {
             std::uint8_t* luma = b.destination.data();
             libyuv::ARGBToNV12(b.source.data(), 4 * b.size.width, luma, b.size.width,
                                luma + b.Pixels(), b.size.width, b.size.width, b.size.height);
         }},
        {"premultiply", 8,
         [](Buffers& b) {
             PremultiplyBgra(b.source.data(), 4 * b.size.width, b.destination.data(),
                             4 * b.size.width, b.size);
         },
         [](Buffers& b) {
             libyuv::ARGBAttenuate(b.source.data(), 4 * b.size.width, b.destination.data(),
                                   4 * b.size.width, b.size.width, b.size.height);
         }},
    };
}

double Seconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::vector<const pixel::Kernels*> Variants() {
    const auto all = pixel::RunnableKernels();
    return {all.begin(), all.end() - 1};
}

// What libyuv may use beside a variant of ours.
int LibyuvFlags(const std::string& variant) {
    constexpr int avx512 = libyuv::kCpuHasAVX512BW | libyuv::kCpuHasAVX512VL |
                           libyuv::kCpuHasAVX512VNNI | libyuv::kCpuHasAVX512VBMI |
                           libyuv::kCpuHasAVX512VBMI2 | libyuv::kCpuHasAVX512VBITALG |
                           libyuv::kCpuHasGFNI;
    if (variant == "avx512") return -1;
    if (variant == "avx2") return ~avx512;
    return ~(avx512 | libyuv::kCpuHasAVX2 | libyuv::kCpuHasAVX | libyuv::kCpuHasFMA3);
}

void PrintHead() {
    std::printf("| operation | size |");
    for (const pixel::Kernels* kernels : Variants()) std::printf(" %s |", kernels->name);
    for (const pixel::Kernels* kernels : Variants()) std::printf(" %s GB/s |", kernels->name);
    std::printf(" libyuv GB/s | memcpy GB/s |\n|---|---|");
    for (std::size_t i = 0; i < 2 * Variants().size() + 2; ++i) std::printf("---|");
    std::printf("\n");
}

void Compare(const std::string& name, const std::string& size, int rounds, double bytes,
             Buffers& memory, const std::function<void()>& ours,
             const std::function<void()>& theirs) {
    const std::vector<const pixel::Kernels*> variants = Variants();
    constexpr double never = std::numeric_limits<double>::max();
    std::vector<double> best(variants.size(), never);
    std::vector<double> best_theirs(variants.size(), never);
    double best_copy = never;
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < variants.size(); ++i) {
            pixel::SelectKernels(*variants[i]);
            best[i] = std::min(best[i], Seconds(ours));
            libyuv::MaskCpuFlags(LibyuvFlags(variants[i]->name));
            best_theirs[i] = std::min(best_theirs[i], Seconds(theirs));
        }
        best_copy = std::min(best_copy, Seconds([&] {
                                 std::memcpy(memory.destination.data(), memory.source.data(),
                                             memory.source.size());
                             }));
    }
    std::printf("| %s | %s |", name.c_str(), size.c_str());
    for (std::size_t i = 0; i < best.size(); ++i) std::printf(" %.2f |", best[i] / best_theirs[i]);
    for (const double seconds : best) std::printf(" %.1f |", bytes / seconds / 1e9);
    std::printf(" %.1f | %.1f |\n", bytes / best_theirs.front() / 1e9,
                2.0 * static_cast<double>(memory.source.size()) / best_copy / 1e9);
    std::fflush(stdout);
}

void CompareResize(PixelSize from, PixelSize to, int rounds) {
    Buffers source(from);
    Buffers destination(to);
    std::int32_t plan_bytes = 0;
    std::int32_t other_bytes = 0;
    ResizeGetSizes(from, to, resize_linear, 0, &plan_bytes, &other_bytes);
    std::vector<std::uint8_t> plan(static_cast<std::size_t>(plan_bytes));
    ResizeInit(from, to, plan.data());
    ResizeGetBufferSize(plan.data(), to, resize_channels, &other_bytes);
    std::vector<std::uint8_t> work(static_cast<std::size_t>(other_bytes));
    const std::string size =
        std::to_string(from.height) + "p to " + std::to_string(to.height) + "p";
    Compare(
        "resize", size, rounds, 4.0 * static_cast<double>(source.Pixels() + destination.Pixels()),
        source,
        [&] {
            ResizeBilinearBgra(source.source.data(), 4 * from.width, destination.destination.data(),
                               4 * to.width, {0, 0}, to, resize_border_replicate, plan.data(),
                               work.data());
        },
        [&] {
            libyuv::ARGBScale(source.source.data(), 4 * from.width, from.width, from.height,
                              destination.destination.data(), 4 * to.width, to.width, to.height,
                              libyuv::kFilterBilinear);
        });
}

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 60;
    const std::string part = argc > 2 ? argv[2] : "";
    PrintHead();
    for (const Contest& contest : Contests()) {
        if (std::string(contest.name).find(part) == std::string::npos) continue;
        for (const PixelSize size :
             {PixelSize{1280, 720}, PixelSize{1920, 1080}, PixelSize{3840, 2160}}) {
            Buffers buffers(size);
            Compare(
                contest.name, std::to_string(size.width) + " x " + std::to_string(size.height),
                rounds, contest.bytes_per_pixel * static_cast<double>(buffers.Pixels()), buffers,
                [&] { contest.ours(buffers); }, [&] { contest.theirs(buffers); });
        }
    }
    if (std::string("resize").find(part) == std::string::npos) return 0;
    CompareResize({1920, 1080}, {1280, 720}, rounds);
    CompareResize({1280, 720}, {1920, 1080}, rounds);
    CompareResize({2560, 1440}, {1920, 1080}, rounds);
    CompareResize({3840, 2160}, {1920, 1080}, rounds);
}

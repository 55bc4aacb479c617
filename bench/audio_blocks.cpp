// The arithmetic on a block and the mixer's rounds against memcpy of the same bytes, alternating;
// and rings that are as large and locked as often. Prints our best time over memcpy's, so that
// below 1 is faster. Usage: audio_blocks [rounds]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "Audio/BlockMath.h"
#include "Audio/CAudioMixer.h"
#include "base/Clock.h"
#include "tests/fakes/ManualClock.h"

namespace {

using namespace Vimbrel;

constexpr std::size_t samples = CAudioMixer::block_samples;
constexpr std::size_t bytes = samples * 2;

template <class Work>
double Seconds(Work&& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Hides from the compiler that memory is the same as before.
void Touch(void* memory) { asm volatile("" : : "g"(memory) : "memory"); }

struct Best {
    double seconds = std::numeric_limits<double>::max();
    void Keep(double measured) { seconds = std::min(seconds, measured); }
};

void CompareArithmetic(int rounds) {
    constexpr int repeats = 2000;
    alignas(64) static std::int16_t block[samples], mix[samples];
    std::fill_n(block, samples, std::int16_t{123});
    for (const BlockMath* math : RunnableBlockMath()) {
        Best copy, add, scale;
        for (int round = 0; round < rounds; ++round) {
            const auto repeat = [&](auto&& work) {
                return Seconds([&] {
                    for (int i = 0; i < repeats; ++i) {
                        work();
                        Touch(mix);
                    }
                });
            };
            copy.Keep(repeat([&] { std::memcpy(mix, block, bytes); }));
            add.Keep(repeat([&] { math->add(mix, block, samples); }));
            scale.Keep(repeat([&] { math->scale(mix, samples, 77); }));
        }
        std::printf("%-7s memcpy %5.1f ns   add / memcpy %.2f   volume / memcpy %.2f\n", math->name,
                    copy.seconds / repeats * 1e9, add.seconds / copy.seconds,
                    scale.seconds / copy.seconds);
    }
}

// Blocks that the rings of both hold, within the ring's first size.
constexpr int blocks = 250;

// The same bytes in as many rings, copied out under the same locks.
class Copying {
public:
    explicit Copying(std::size_t channels) : rings(channels), locks(channels) {
        for (auto& ring : rings) ring.assign(blocks * bytes, 1);
    }
    void Run() {
        for (std::size_t block = 0; block < blocks; ++block) {
            const MutexLock all(lock);
            for (std::size_t i = 0; i < rings.size(); ++i) {
                const MutexLock one(locks[i]);
                std::memcpy(scratch, rings[i].data() + block * bytes, bytes);
                Touch(scratch);
            }
        }
    }

private:
    Mutex lock;
    std::vector<std::vector<unsigned char>> rings;
    std::vector<Mutex> locks;
    alignas(64) unsigned char scratch[bytes];
};

void CompareRounds(std::size_t channels, int rounds) {
    test::ManualClock clock;
    const ScopedClock scoped(clock);
    CAudioMixer mixer;
    std::vector<CAudioChannel2*> added;
    for (std::size_t i = 0; i < channels; ++i) {
        added.push_back(mixer.AddChannel(&engine_format));
        added.back()->Activate();
    }
    const std::unique_ptr<CAudioMixer::MixRun> run = mixer.BeginRun();
    Copying copying(channels);
    std::vector<unsigned char> sound(blocks * bytes, 1);
    Best copied, mixed, scaled;
    for (int round = 0; round < rounds; ++round) {
        for (Best* best : {&mixed, &scaled}) {
            for (CAudioChannel2* channel : added) {
                channel->volume = best == &mixed ? 100 : 77;
                channel->WriteSamples(sound.data(), static_cast<int>(sound.size()), 0, 0);
            }
            // A clock in double precision truncates.
            clock.AdvanceUnits(blocks * (run->period + 1));
            best->Keep(Seconds([&] {
                for (int block = 0; block < blocks; ++block) mixer.Turn(*run);
            }));
        }
        copied.Keep(Seconds([&] { copying.Run(); }));
    }
    std::printf("%2zu channels: %7.1f ns a round   round / memcpy %.2f   with volumes %.2f\n",
                channels, mixed.seconds / blocks * 1e9, mixed.seconds / copied.seconds,
                scaled.seconds / copied.seconds);
}

}  // namespace

int main(int count, char** arguments) {
    const int rounds = count > 1 ? std::atoi(arguments[1]) : 200;
    CompareArithmetic(rounds);
    for (const std::size_t channels : {2, 16, 64}) CompareRounds(channels, rounds / 10 + 1);
}
